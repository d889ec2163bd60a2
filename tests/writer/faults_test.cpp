// Every call to the system that a recording or a change of a movie makes fails once, in every way.
// The file on the disk is then compared with what it was after the last step that went well, and
// after the fault the writer goes on, closes, or ends, and the file is whole.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include <tests/support/faultlayer.h>
#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

// --- what may go wrong, and what the library says of it
// ----------------------------------------------

std::vector<Effect> effectsOn(Call call) {
    switch (call) {
        case Call::Open:
            return {{EACCES, 0}, {ENOSPC, 0}, {EMFILE, 0}, {EINTR, 0}};
        case Call::Close:
            return {{EIO, 0}, {ENOSPC, 0}, {EINTR, 0}};
        case Call::Read:
            // A read that gives nothing says that the file has lost its end: not a failing call.
            return {{EIO, 0}, {EBADF, 0}, {EINTR, 0}, {0, 8}, {0, Effect::half}};
        case Call::Write:
            return {{ENOSPC, 0},
                    {EIO, 0},
                    {EFBIG, 0},
                    {EBADF, 0},
                    {EINTR, 0},
                    {0, 0},
                    {0, 8},
                    {0, Effect::half},
                    {0, 8, ENOSPC},
                    {0, 16, EDQUOT},
                    {0, Effect::half, EFBIG},
                    {0, Effect::allButOne, ENOSPC}};
        case Call::Seek:
            return {{EIO, 0}, {EBADF, 0}, {EINTR, 0}};
        case Call::Lock:
            // File systems that have no locks say so in one of these ways, but for the last three.
            return {{ENOLCK, 0}, {EINVAL, 0}, {EOPNOTSUPP, 0}, {ENOSYS, 0},
                    {EIO, 0},    {EINTR, 0},  {EAGAIN, 0},     {EACCES, 0}};
        default:
            return {{EIO, 0}, {EINTR, 0}};
    }
}

using Codes = std::set<std::string>;

/// Whether nothing is lost by it: a call that is made again, or whose rest is written.
bool isHarmless(const Fault& fault) {
    const Effect& effect = fault.effect;
    return effect.error == EINTR || fault.call == Call::Unlock ||
           (fault.call == Call::Write && effect.error == 0 && effect.bytes != 0 &&
            effect.next == 0);
}

Codes writeCodes(const Effect& effect) {
    const bool inPayload =
        effect.error == 0 && (effect.bytes == 16 || effect.bytes == Effect::half);
    return {inPayload ? "FDCW_AC_WRITE" : "CHB_WFD_WRITE"};
}

/// The codes that a step may fail with; none when it must not notice.
Codes codesOf(const Step& step, const Fault& fault) {
    if (isHarmless(fault) || step.kind == Step::Destroy) return {};
    const bool reopens = step.kind == Step::Reopen;
    const char* const openCode = reopens ? "FW_OF_OPEN2" : "FW_OF_OPEN";
    switch (fault.call) {
        case Call::Open:
            return {openCode};
        case Call::Lock:
            if (fault.effect.error == EAGAIN || fault.effect.error == EACCES) return {"FW_OF_BUSY"};
            return {};
        case Call::Close:
            return {"FDCW_CF_CLOSE"};
        case Call::Read:
            return {"CHB_LDF_READ", "FDCW_PC_READ", "FDCW_HC_READ"};
        case Call::Write:
            // The first write that replaces a frame is one of a header alone.
            if (step.kind == Step::Overwrite) return {"CHB_WFD_WRITE", "FDCW_AC_WRITE"};
            // The first is that of a mark, which has no payload.
            if (reopens && fault.position == 1) return {"CHB_WFD_WRITE"};
            return writeCodes(fault.effect);
        case Call::Seek:
            if (reopens) return {"FDCW_AC_SEEK", "CHB_LFD_SEEK", "FDCW_PC_SEEK1", "FDCW_PC_SEEK2"};
            return {"FDCW_AC_SEEK"};
        case Call::Truncate:
            return {step.kind == Step::Create ? openCode : "FDCW_TRUNC"};
        case Call::Stat:
            return {openCode, "FDCW_AC_SEEK"};
        default:
            return {};
    }
}

// --- the run
// ---------------------------------------------------------------------------------------------

const std::vector<std::string> noProblems;

/// The state of the file after nothing, the first step, the second …
using States = std::vector<QByteArray>;

enum class Afterwards { TryAgain, Close, Destroy };

class Faults : public testing::TestWithParam<Scenario> {
protected:
    void SetUp() override {
        path = dir.filePath(QStringLiteral("movie"));
        undisturbed = undisturbedRun();
    }

    void placeInitialFile() const {
        QFile::remove(path);
        if (!GetParam().initial.isNull()) writeFile(path, GetParam().initial);
    }

    States undisturbedRun() {
        placeInitialFile();
        States states{readFileIfAny(path)};
        FaultLayer layer(path);
        auto writer = std::make_unique<ImageWriter>();
        for (size_t i = 0; i < GetParam().steps.size(); ++i) {
            setClock(1000 + static_cast<long>(i));
            layer.during([&] { GetParam().steps[i].run(writer, path); });
            states.push_back(readFileIfAny(path));
        }
        for (Call call : allCalls)
            calls.push_back(layer.calls(call));
        return states;
    }

    int callsOf(Call call) const { return calls[static_cast<size_t>(call)]; }

    static std::string textOf(const std::vector<Fault>& faults) {
        std::string text;
        for (const Fault& fault : faults)
            text += fault.text() + "; ";
        return text;
    }

    /// Runs the scenario with faults in it, the first of which makes a step fail. Others make it
    /// worse as long as they last.
    /// @return how often calls failed
    int disturb(const std::vector<Fault>& faults, Afterwards afterwards) {
        SCOPED_TRACE(textOf(faults));
        placeInitialFile();
        const int descriptors = openDescriptors();
        int hits = 0;
        {
            LogCapture log(LogLevel::Error);
            FaultLayer layer(path, faults);
            auto writer = std::make_unique<ImageWriter>();
            runSteps(writer, layer, log, faults, afterwards);
            hits = layer.hits();
        }
        setClock(0);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_GT(hits, 0) << "the fault was never met";
        injected += hits;
        return hits;
    }

    void runSteps(std::unique_ptr<ImageWriter>& writer, FaultLayer& layer, LogCapture& log,
                  const std::vector<Fault>& faults, Afterwards afterwards) {
        const Fault& fault = faults.front();
        const std::vector<Step>& steps = GetParam().steps;
        for (size_t i = 0; i < steps.size(); ++i) {
            SCOPED_TRACE(steps[i].name);
            setClock(1000 + static_cast<long>(i));
            const int hits = layer.hits();
            try {
                layer.during([&] { steps[i].run(writer, path); });
                if (layer.hits() > hits && steps[i].kind == Step::Destroy)
                    return expectAfterDestruction(i, fault);
                if (layer.hits() > hits) expectUnnoticed(steps[i], fault);
                EXPECT_EQ(readFileIfAny(path), undisturbed[i + 1]);
                continue;
            } catch (const IOFileException& thrown) {
                ASSERT_GT(layer.hits(), hits) << thrown.what();
                expectStated(thrown, log, codesOf(steps[i], fault));
            }
            if (faults.size() == 1) {
                EXPECT_EQ(log.records().size(), 1U);
                expectStateAfterFailure(i, fault);
            } else {
                EXPECT_TRUE(readFileIfAny(path).startsWith(undisturbed[i]));
            }
            layer.lift();
            if (afterwards != Afterwards::TryAgain)
                return finish(writer, afterwards, steps[i].kind);
            steps[i].run(writer, path);
            EXPECT_EQ(readFileIfAny(path), undisturbed[i + 1]) << "second try";
        }
    }

    static void expectUnnoticed(const Step& step, const Fault& fault) {
        if (fault.call == Call::Read && fault.effect.error == 0) return;  // the rest is read next
        EXPECT_TRUE(codesOf(step, fault).empty()) << "not noticed";
    }

    static LogOrigin originOf(const QString& code) {
        if (code == QLatin1String("FDCW_AC_SEEK")) return SOFTWARE;
        return code == QLatin1String("FW_OF_BUSY") ? FILESYSTEM : SYSCALL;
    }

    static void expectStated(const IOFileException& thrown, const LogCapture& log,
                             const Codes& codes) {
        EXPECT_EQ(codes.count(thrown.code().toStdString()), 1U) << thrown.what();
        EXPECT_EQ(thrown.origin(), originOf(thrown.code()));
        ASSERT_FALSE(log.records().empty());
        EXPECT_EQ(log.records().front().code, thrown.code());
        EXPECT_EQ(log.records().front().message, thrown.message());
    }

    void expectStateAfterFailure(size_t step, const Fault& fault) const {
        const bool reopens = GetParam().steps[step].kind == Step::Reopen;
        const QByteArray& before = undisturbed[step];
        const QByteArray& after = undisturbed[step + 1];
        const QByteArray now = readFileIfAny(path);
        if (GetParam().steps[step].kind == Step::Overwrite)
            return expectOldFrameOrDamagedPlace(before, now, after);
        // A descriptor that fails on closing has all its data in the file.
        EXPECT_EQ(now, fault.call == Call::Close && !reopens ? after : before);
        EXPECT_EQ(soundLength(parseMovie(now)), now.size());
    }

    /// A frame that was to be replaced is the old one, or has no whole end header; where it is not
    /// the old one any more, it has no start header either. Nothing around it has changed.
    static void expectOldFrameOrDamagedPlace(const QByteArray& before, const QByteArray& now,
                                             const QByteArray& after) {
        if (now == before) return;
        const MovieChunk frame = firstDifference(parseMovie(before), parseMovie(after));
        const auto startHeader = static_cast<qsizetype>(frame.offset);
        const qsizetype endHeader = frame.end() - 16;
        ASSERT_EQ(now.size(), before.size());
        EXPECT_EQ(now.left(startHeader), before.left(startHeader));
        const bool isOldOne = now.left(endHeader) == before.left(endHeader);
        EXPECT_TRUE(isOldOne || now.mid(startHeader, 16) == QByteArray(16, '\0'));
        EXPECT_NE(now.mid(endHeader, 16), before.mid(endHeader, 16));
        EXPECT_EQ(now.mid(frame.end()), before.mid(frame.end()));
        for (qsizetype i = startHeader + 16; i < endHeader; ++i)
            ASSERT_TRUE(now[i] == before[i] || now[i] == after[i]) << "byte " << i;
    }

    /// The first chunk whose payload is not the same in both.
    static MovieChunk firstDifference(const Movie& before, const Movie& after) {
        for (size_t i = 0; i < before.chunks.size() && i < after.chunks.size(); ++i)
            if (before.chunks[i].payload != after.chunks[i].payload) return before.chunks[i];
        ADD_FAILURE() << "no frame was replaced";
        return {};
    }

    void expectAfterDestruction(size_t step, const Fault& fault) const {
        const bool unnoticed = isHarmless(fault) || fault.call == Call::Close;
        EXPECT_EQ(readFileIfAny(path), undisturbed[unnoticed ? step + 1 : step]);
    }

    /// Whatever was left out, what was recorded makes a whole movie.
    void finish(std::unique_ptr<ImageWriter>& writer, Afterwards how, Step::Kind failed) const {
        const QByteArray before = readFileIfAny(path);
        const bool wasOpen = writer->isOpen();
        if (how == Afterwards::Close) writer->close();
        writer.reset();
        const QByteArray now = readFileIfAny(path);
        if (!wasOpen) {
            EXPECT_EQ(now, before);
            return;
        }
        if (failed == Step::Overwrite && soundLength(parseMovie(before)) < before.size()) {
            EXPECT_TRUE(now.startsWith(before)) << "a frame was left half replaced";
            return;
        }
        EXPECT_EQ(parseMovie(now).problems, noProblems);
        EXPECT_EQ(framesIn(now), framesIn(before));
    }

    /// In the order of the file.
    static std::vector<QByteArray> framesIn(const QByteArray& bytes) {
        std::vector<QByteArray> out;
        for (const MovieChunk& chunk : parseMovie(bytes).chunks)
            if (chunk.type == MZ_CT_FRAME) out.push_back(chunk.payload);
        return out;
    }

    QTemporaryDir dir;
    QString path;
    States undisturbed;
    std::vector<int> calls;
    int injected = 0;
};

/// For scenarios that only append: what was written over cannot be had back while nothing works.
class FaultsTogether : public Faults {};

TEST_P(Faults, EachCallFailsOnceInEveryWay) {
    for (Call call : allCalls) {
        for (int position = 1; position <= callsOf(call); ++position) {
            for (const Effect& effect : effectsOn(call)) {
                for (Afterwards afterwards :
                     {Afterwards::TryAgain, Afterwards::Close, Afterwards::Destroy}) {
                    disturb({{call, position, effect}}, afterwards);
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
    RecordProperty("faults", injected);
    std::printf("%d faults injected\n", injected);
    EXPECT_GT(injected, 100);
}

// A disk that fills up may also fail to cut what was begun, a bad one to do anything at all.
TEST_P(FaultsTogether, AWriteFailsAndWhatCleansUpBehindItToo) {
    for (Call other : {Call::Truncate, Call::Seek, Call::Stat}) {
        int others = 0;
        for (int position = 1; position <= callsOf(Call::Write); ++position) {
            const Fault torn{Call::Write, position, {0, Effect::half, ENOSPC}};
            for (Afterwards afterwards :
                 {Afterwards::TryAgain, Afterwards::Close, Afterwards::Destroy})
                others +=
                    disturb({torn, {other, 1, {EIO, 0}, Fault::always, true}}, afterwards) - 1;
        }
        EXPECT_GT(others, 0) << nameOf(other);
    }
}

TEST_P(Faults, TheUndisturbedRunLeavesAWholeMovie) {
    EXPECT_EQ(parseMovie(undisturbed.back()).problems, noProblems);
    EXPECT_GT(callsOf(Call::Open), 0);
    EXPECT_GT(callsOf(Call::Write), 0);
    EXPECT_GT(callsOf(Call::Seek), 0);
    EXPECT_GT(callsOf(Call::Close), 0);
}

std::vector<Scenario> recordings() {
    const Recording plain;
    Recording autotime;
    autotime.autotime = true;
    Recording compressed;
    compressed.compression = CompressionType::GZip;
    compressed.fibers = true;
    Recording bare;
    bare.powers = false;
    bare.frames = 1;
    const std::vector<Step> close{closeStep()};
    return {{"Raw", {}, recordingSteps(plain) + close},
            {"Autotime", {}, recordingSteps(autotime) + close},
            {"CompressedWithFibers", {}, recordingSteps(compressed) + close},
            {"OverAnOlderFile", movieOf(plain), recordingSteps(bare) + close}};
}

std::vector<Scenario> otherScenarios() {
    const Recording plain;
    Recording autotime;
    autotime.autotime = true;
    Recording fibers;
    fibers.fibers = true;
    const QByteArray finished = movieOf(plain);
    const std::vector<Step> ring{createStep(autotime),
                                 addStep(autotime, 0),
                                 addStep(autotime, 1),
                                 addStep(autotime, 2),
                                 replaceStep(0, 10),
                                 replaceStep(1, 11),
                                 addAtEndStep(3),
                                 step("order", Step::Ordinary, [](ImageWriter& w) { w.organizeIndex(2, 3); }),
                                 closeStep()};
    return {
        {"EndedByTheDestructor", {}, recordingSteps(plain) + std::vector<Step>{destroyStep()}},
        {"Ring", {}, ring},
        {"Modify", finished, {modifyStep(), replaceStep(1, 20), addAtEndStep(21), closeStep()}},
        {"ModifyWithFibers", movieOf(fibers), {modifyStep(), addAtEndStep(21), closeStep()}},
        {"ShorterAttributes", finished, {modifyAttributeStep(QStringLiteral("short"))}},
        {"LongerAttributes", finished, {modifyAttributeStep(QString(400, QLatin1Char('x')))}},
    };
}

std::string nameOfScenario(const testing::TestParamInfo<Scenario>& scenario) {
    return scenario.param.name;
}

INSTANTIATE_TEST_SUITE_P(Recording, Faults, testing::ValuesIn(recordings()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(Other, Faults, testing::ValuesIn(otherScenarios()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(Recording, FaultsTogether, testing::ValuesIn(recordings()),
                         nameOfScenario);

/// A movie whose close() has failed, and could not cut what it had appended.
TEST(FailedClose, WhatItLeftBehindIsCutByTheNextOne) {
    const LogCapture silent(LogLevel::Error);
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    FaultLayer layer(path,
                     {{Call::Write, 3, {ENOSPC, 0}}, {Call::Truncate, 1, {EIO, 0}, Fault::always}});
    ImageWriter writer;
    layer.during([&] {
        writer.create(path, false);
        writer.width(scenarioWidth);
        writer.height(scenarioHeight);
        writer.addFrame("frame", 5, 0.5F);
        writer.addRasterFiberContinuousIndexes(std::vector<float>(20000, 1.0F));
        EXPECT_THROW(writer.close(), IOFileException);
    });
    EXPECT_GT(QFile(path).size(), 80000);
    layer.lift();
    writer.addRasterFiberContinuousIndexes({});
    layer.during([&] { writer.close(); });
    const Movie movie = soundMovie(path);
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 8, 5}));
    ImageReader reader(path);
    EXPECT_EQ(reader.nbFrames(), 1U);
}

/// The index leads a reader to it, who looks at the start header alone.
TEST(HalfReplacedFrame, IsNeverReadAsAWholeOneWhenTheMovieIsFinished) {
    const LogCapture silent(LogLevel::Error);
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    ImageWriter writer;
    // Three frames, the end header of the second, then half of its payload.
    FaultLayer layer(path, {{Call::Write, 5, {0, 18, EIO}}});
    layer.during([&] {
        writer.create(path, false);
        for (const char* frame : {"aaaa", "bbbb", "cccc"})
            writer.addFrame(frame, 4, 0.5F);
        EXPECT_THROW(writer.replaceFrame("BBBB", 1), IOFileException);
    });
    writer.close();
    ImageReader reader(path);
    const void* data = nullptr;
    EXPECT_EQ(reader.getRawFrame(data, 0).get(), 4U);
    EXPECT_THROW(reader.getRawFrame(data, 1), IOFileException);
    EXPECT_EQ(reader.getRawFrame(data, 2).get(), 4U);
}

/// Room that is given away may be taken by others before the old end can be put back into it.
TEST(ModifyAttributeOnABadDisk, CutsNothingBeforeTheNewEndIsWritten) {
    const LogCapture silent(LogLevel::Error);
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    Recording recording;
    writeFile(path, movieOf(recording));
    // Nor can the file be opened anew to put the old end back.
    FaultLayer layer(path, {{Call::Truncate, 1, {EIO, 0}, Fault::always},
                            {Call::Open, 2, {EMFILE, 0}, Fault::always, true}});
    ImageWriter writer;
    AttributeChunk attributes;
    attributes.set(QStringLiteral("comment"), QStringLiteral("n"));
    layer.during([&] { EXPECT_THROW(writer.modifyAttribute(path, attributes), IOFileException); });
    EXPECT_TRUE(readFile(path).contains("comment=n\n"));
}

TEST(AutomaticTime, IsZeroWhenTheClockFails) {
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    ImageWriter writer;
    writer.create(path, true);
    writer.addFrame("abc", 3, 0.5F);
    setClock(brokenClock);
    writer.addFrame("def", 3, 0.5F);
    writer.replaceFrame("ABC", 0, 0.5F);
    setClock(0);
    writer.close();
    EXPECT_EQ(soundMovie(path).times, (std::vector<MovieTime>{{0, 0}, {0, 0}}));
}

}  // namespace
