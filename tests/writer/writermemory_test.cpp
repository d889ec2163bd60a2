// Every allocation that a recording or a change of a movie makes fails once. The call says so with
// std::bad_alloc, the file is as it was, and the same call made again goes on as if nothing had
// been.

#include <libDataIO/imagewriter.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include <tests/support/allocationlayer.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

Step effortStep() {
    return step("fast", Step::Ordinary,
                [](ImageWriter& w) { w.setCompressionEffort(CompressionEffort::Fast); });
}

/// One sample for each of the three fibres.
Step addSamplesStep(int number) {
    return step("samples " + std::to_string(number), Step::Ordinary, [number](ImageWriter& w) {
        w.addFrame(scenarioFrame(number).constData(), 6, timeval{100 + number, 0}, 0.5F);
    });
}

/// A frame that bzip2 makes shorter.
Step addFlatStep(int number) {
    return step("flat " + std::to_string(number), Step::Ordinary, [number](ImageWriter& w) {
        w.addFrame(QByteArray(scenarioFrameBytes, static_cast<char>(number)).constData(), 0.5F);
    });
}

Step organizeStep() {
    return step("organize", Step::Ordinary, [](ImageWriter& w) { w.organizeIndex(1, 3); });
}

/// Of a recorder that knew no laser powers.
QByteArray movieWithoutPowers() {
    MovieBytes movie;
    movie.size(scenarioWidth, scenarioHeight).endian(Order::Little);
    for (int i = 0; i < 20; ++i)
        movie.frame(scenarioFrame(i));
    return movie.bytes();
}

Recording rawRecording() {
    Recording recording;
    recording.fibers = true;
    return recording;
}

/// More than the lists of a writer have room for at first.
Recording longRecording() {
    Recording recording;
    recording.frames = 40;
    return recording;
}

Recording compressedRecording(CompressionType::e compression) {
    Recording recording;
    recording.compression = compression;
    return recording;
}

std::vector<Step> fastSteps(CompressionType::e compression) {
    std::vector<Step> steps = recordingSteps(compressedRecording(compression));
    steps.insert(steps.begin() + 1, effortStep());
    return steps;
}

std::vector<Scenario> scenarios() {
    const std::vector<Step> vectorized{createStep(rawRecording()), addSamplesStep(0),
                                       addSamplesStep(1)};
    const QByteArray movie = movieOf(rawRecording());
    return {
        {"Raw", {}, recordingSteps(rawRecording())},
        {"Long", {}, recordingSteps(longRecording())},
        {"Vectorized", {}, vectorized},
        {"ZLib", {}, recordingSteps(compressedRecording(CompressionType::ZLib))},
        {"GZip", {}, recordingSteps(compressedRecording(CompressionType::GZip))},
        {"BZip2",
         {},
         {createStep(compressedRecording(CompressionType::BZip2)), addFlatStep(1), addFlatStep(2)}},
        {"FastZLib", {}, fastSteps(CompressionType::ZLib)},
        {"FastGZip", {}, fastSteps(CompressionType::GZip)},
        {"Ring",
         {},
         recordingSteps(rawRecording()) +
             std::vector<Step>{replaceStep(1, 7), addAtEndStep(8), organizeStep()}},
        {"Modified", movie, {modifyStep(), addAtEndStep(5), replaceStep(2, 6)}},
        {"WithoutPowers", movieWithoutPowers(), {modifyStep(), replaceStep(2, 6), addAtEndStep(5)}},
        {"Attributes", movie, {modifyAttributeStep(QStringLiteral("another comment"))}},
    };
}

const std::vector<std::string> noProblems;

class WriterMemory : public testing::TestWithParam<Scenario> {
protected:
    void SetUp() override { path = dir.filePath(QStringLiteral("movie")); }

    void begin() {
        writer = std::make_unique<ImageWriter>();
        QFile::remove(path);
        if (!GetParam().initial.isNull()) writeFile(path, GetParam().initial);
    }

    void run(const Step& step) { step.run(writer, path); }

    /// The file after so many steps and close().
    QByteArray undisturbed(size_t count) {
        begin();
        for (size_t i = 0; i < count; ++i)
            run(GetParam().steps[i]);
        writer->close();
        return readFileIfAny(path);
    }

    /// Whether the step ran out of memory; the file is then what it was, unless the step empties it
    /// first.
    bool runsOut(FailingAllocation& failing, const Step& step) {
        const QByteArray before = readFileIfAny(path);
        if (!runsOutOfMemory(failing, [&] { run(step); })) return false;
        if (step.kind != Step::Create) {
            EXPECT_EQ(readFileIfAny(path), before) << step.name;
        }
        return true;
    }

    QTemporaryDir dir;
    QString path;
    std::unique_ptr<ImageWriter> writer;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Scenarios, WriterMemory, testing::ValuesIn(scenarios()),
                         [](const auto& scenario) { return scenario.param.name; });

TEST_P(WriterMemory, TheSameCallAgainMakesTheSameFile) {
    const QByteArray expected = undisturbed(GetParam().steps.size());
    EXPECT_EQ(parseMovie(expected).problems, noProblems);
    const int failed = forEachLack([&](FailingAllocation& failing) {
        begin();
        for (const Step& step : GetParam().steps)
            if (runsOut(failing, step)) run(step);
        runAgainIfNeeded(failing, [&] { writer->close(); });
        EXPECT_EQ(readFile(path), expected);
    });
    EXPECT_GT(failed, 10);
}

TEST_P(WriterMemory, WhatWasDoneBeforeStays) {
    const std::vector<Step>& steps = GetParam().steps;
    std::vector<QByteArray> closedAfter;
    for (size_t count = 0; count <= steps.size(); ++count)
        closedAfter.push_back(undisturbed(count));
    forEachLack([&](FailingAllocation& failing) {
        begin();
        size_t done = 0;
        while (done < steps.size() && !runsOut(failing, steps[done]))
            ++done;
        if (done < steps.size() && steps[done].kind == Step::Create) return;
        runAgainIfNeeded(failing, [&] { writer->close(); });
        EXPECT_EQ(readFile(path), closedAfter[done]) << done << " steps";
    });
}

TEST_P(WriterMemory, AWriterThatEndsWithoutMemoryEndsInSilence) {
    forEachLack([&](FailingAllocation& failing) {
        begin();
        for (const Step& step : GetParam().steps)
            run(step);
        const QByteArray before = readFile(path);
        failing.during([&] { writer.reset(); });
        EXPECT_TRUE(readFile(path).startsWith(before));
        if (readFile(path) != before) {
            EXPECT_EQ(parseMovie(readFile(path)).problems, noProblems);
        }
    });
}
