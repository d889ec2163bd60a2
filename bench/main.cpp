// comparisons [OPTION...] [SUBJECT...]: runs the comparisons and prints their
// tables. The exit status is 1 when a result was wrong; a missed goal is only printed.

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

#include <bench/subjects.h>

namespace {

struct Subject {
    const char* name;
    void (*run)(const bench::Context&);
};

constexpr Subject subjects[] = {
    {"recording", bench::compareRecording},
    {"reading", bench::compareReading},
    {"uncached", bench::compareUncachedReading},
    {"decoding", bench::compareDecoding},
    {"encoding", bench::compareEncoding},
    {"recompression", bench::compareRecompression},
    {"opening", bench::compareOpening},
    {"parsing", bench::compareParsing},
    {"thumbnails", bench::compareThumbnails},
    {"memory", bench::measureMemory},
    {"growth", bench::measureGrowth},
};

QString subjectNames() {
    QStringList names;
    for (const Subject& subject : subjects)
        names << QString::fromLatin1(subject.name);
    return names.join(QLatin1String(", "));
}

}  // namespace

int main(int argc, char** argv) {
    bench::pinToOneCore();
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption folder(QStringLiteral("folder"),
                                    QStringLiteral("where files are made, on the disk that counts"),
                                    QStringLiteral("path"), QStringLiteral("."));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("of every comparison"),
                                    QStringLiteral("number"), QStringLiteral("9"));
    const QCommandLineOption processorTime(
        QStringLiteral("processor-time"),
        QStringLiteral("count the processor's time: for a machine that is busy with other things"));
    QCommandLineOption memory(QStringLiteral("memory"), QStringLiteral("for child processes"),
                              QStringLiteral("work"));
    memory.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({folder, rounds, processorTime, memory});
    parser.addPositionalArgument(QStringLiteral("subject"),
                                 subjectNames() + QStringLiteral("; all when none is given"));
    parser.addHelpOption();
    parser.process(application);

    using Clock = bench::Harness::Clock;
    bench::Harness harness(parser.value(rounds).toInt(),
                           parser.isSet(processorTime) ? Clock::Processor : Clock::Wall);
    bool areReal = false;
    const bench::Material large = bench::largeFrames(areReal);
    const bench::Context context{harness, QDir(parser.value(folder)), large,
                                 large.cut(128, 128, 4000)};
    const QStringList wanted = parser.positionalArguments();
    if (parser.isSet(memory))
        return bench::runMemoryWork(context, parser.value(memory), wanted.value(0)) ? 0 : 2;

    std::printf("Frames: %s. Medians of %s rounds%s.\n",
                areReal ? "real ones, 30 planes of 512 × 400 pixels in a ring"
                        : "generated ones, since $DATAIO_SAMPLES has none",
                qPrintable(parser.value(rounds)),
                parser.isSet(processorTime) ? ", times of the processor" : "");
    for (const Subject& subject : subjects)
        if (wanted.isEmpty() || wanted.contains(QString::fromLatin1(subject.name)))
            subject.run(context);
    return harness.conclude() ? 0 : 1;
}
