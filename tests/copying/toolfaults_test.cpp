// Every call to the system that the tools make fails once, in every way: no input is ever harmed,
// and when the fault is gone the same call does what it would have done.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/rsqcompressutil.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include <tests/support/faultlayer.h>
#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

struct Tool {
    std::string name;
    QByteArray input;
    bool changesInput;
    std::function<void(const QString& input, const QString& output)> run;
    bool readsOnPastDamage = false;
};

std::ostream& operator<<(std::ostream& out, const Tool& tool) {
    return out << tool.name;
}

std::vector<Effect> effectsOn(Call call) {
    switch (call) {
        case Call::Read:
            return {{EIO, 0}, {EINTR, 0}, {0, 8}, {0, Effect::half}};
        case Call::Write:
            return {{ENOSPC, 0},       {EINTR, 0},     {0, 0},
                    {0, Effect::half}, {0, 8, ENOSPC}, {0, Effect::half, ENOSPC}};
        case Call::Map:
        case Call::Unmap:
            return {{ENOMEM, 0}};
        default:
            return {{EIO, 0}, {EINTR, 0}};
    }
}

std::set<std::string> codesOf(Call call) {
    switch (call) {
        case Call::Open:
            return {"FR_OF_OPEN", "FW_OF_OPEN", "FW_OF_OPEN2", "IU_S_READ", "IU_S_COPY"};
        case Call::Close:
            return {"FDCW_CF_CLOSE", "IU_S_COPY"};
        case Call::Read:
            return {"CHB_LDF_READ", "IU_S_READ",   "IU_S_COPY",  "MM_NC_MMAP",
                    "MM_CR_MMAP",   "MM_NC_BOUND", "MM_CR_BOUND"};
        case Call::Write:
            return {"CHB_WFD_WRITE", "FDCW_AC_WRITE", "IU_S_COPY"};
        case Call::Seek:
            return {"CHB_LFD_SEEK", "MM_SE_SEEK", "FDCW_AC_SEEK", "IU_S_READ"};
        case Call::Truncate:
            return {"FDCW_TRUNC"};
        case Call::Stat:
            return {"FR_OF_STAT",   "MM_NC_MMAP", "MM_CR_MMAP", "FW_OF_OPEN2",
                    "FDCW_AC_SEEK", "IU_S_READ",  "IU_S_COPY"};
        case Call::Unmap:
            return {"MM_UNMAP"};
        default:
            return {};
    }
}

class ToolFaults : public testing::TestWithParam<Tool> {
protected:
    void SetUp() override {
        input = dir.filePath(QStringLiteral("input"));
        output = dir.filePath(QStringLiteral("output"));
    }

    void place() const {
        writeFile(input, GetParam().input);
        QFile::remove(output);
    }

    void runUndisturbed(FaultLayer& layer) {
        place();
        layer.during([&] { GetParam().run(input, output); });
        newInput = readFileIfAny(input);
        newOutput = readFileIfAny(output);
        EXPECT_EQ(parseMovie(newOutput.isEmpty() ? newInput : newOutput).problems,
                  std::vector<std::string>{});
    }

    void disturb(const QString& watched, const Fault& fault) {
        SCOPED_TRACE(fault.text());
        place();
        const int descriptors = openDescriptors();
        {
            LogCapture log(LogLevel::Error);
            FaultLayer layer(watched, {fault});
            try {
                layer.during([&] { GetParam().run(input, output); });
                if (watched == input && mayLoseAChunk(fault) &&
                    readFileIfAny(salvaged()) != newSalvaged()) {
                    expectNothingLost();
                    expectFewerFrames();
                } else {
                    expectAsUndisturbed();
                }
            } catch (const BaseException& thrown) {
                EXPECT_EQ(codesOf(fault.call).count(thrown.code().toStdString()), 1U)
                    << thrown.what();
                ASSERT_FALSE(log.records().empty());
                expectNothingLost();
                layer.lift();
                GetParam().run(input, output);
                expectAsUndisturbed();
            }
            EXPECT_EQ(layer.hits(), 1) << "the fault was never met";
        }
        EXPECT_EQ(openDescriptors(), descriptors);
        ++injected;
    }

    void expectAsUndisturbed() const {
        EXPECT_EQ(readFileIfAny(input), newInput);
        EXPECT_EQ(readFileIfAny(output), newOutput);
    }

    const QString& salvaged() const { return GetParam().changesInput ? input : output; }
    const QByteArray& newSalvaged() const { return GetParam().changesInput ? newInput : newOutput; }

    /// A disk that does not give a chunk costs that chunk. In place, frames are left where they are
    /// and not listed.
    bool mayLoseAChunk(const Fault& fault) const {
        return GetParam().readsOnPastDamage && fault.effect.error == EIO &&
               (fault.call == Call::Read || fault.call == Call::Seek);
    }

    void expectFewerFrames() const {
        const Movie expected = parseMovie(newSalvaged());
        const Movie made = parseMovie(readFileIfAny(salvaged()));
        if (!GetParam().changesInput) {
            EXPECT_EQ(made.problems, std::vector<std::string>{});
            EXPECT_EQ(made.frames.size(), expected.frames.size() - 1);
        }
        EXPECT_GE(ImageReader(salvaged()).nbFrames(), expected.frames.size() - 1);
        for (const QByteArray& frame : made.frames) {
            EXPECT_EQ(std::count(expected.frames.begin(), expected.frames.end(), frame), 1);
        }
    }

    void expectNothingLost() const {
        const QByteArray now = readFileIfAny(input);
        if (GetParam().changesInput) {
            EXPECT_TRUE(
                now.startsWith(GetParam().input.left(soundLength(parseMovie(GetParam().input)))));
        } else {
            EXPECT_EQ(now, GetParam().input);
        }
        const QByteArray made = readFileIfAny(output);
        if (!made.isEmpty()) {
            EXPECT_EQ(parseMovie(made).problems, std::vector<std::string>{});
        }
    }

    QTemporaryDir dir;
    QString input, output;
    QByteArray newInput, newOutput;
    int injected = 0;
};

TEST_P(ToolFaults, EachCallFailsOnceInEveryWay) {
    for (const QString& watched : {input, output}) {
        std::vector<int> calls;
        {
            FaultLayer layer(watched);
            runUndisturbed(layer);
            for (Call call : allCalls)
                calls.push_back(layer.calls(call));
        }
        for (Call call : allCalls)
            for (int position = 1; position <= calls[static_cast<size_t>(call)]; ++position)
                for (const Effect& effect : effectsOn(call))
                    disturb(watched, {call, position, effect});
    }
    RecordProperty("faults", injected);
    EXPECT_GT(injected, 20);
}

TEST(ToolsOnABadDisk, CopyRawFramesByCallsOfTheSystemAlone) {
    const QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("input"));
    const QString output = dir.filePath(QStringLiteral("output"));
    writeFile(input, movieOf(Recording()));
    const Movie movie = parseMovie(readFile(input));
    ASSERT_GE(movie.frames.size(), 2U);
    const auto copy = [&] {
        RSQCompress::compressFile(_inputFilename = input, _outputFilename = output);
    };
    {
        FaultLayer layer(input);
        layer.during(copy);
        EXPECT_EQ(layer.calls(Call::Map), 0);
    }
    FaultLayer layer(input);
    const auto bad = static_cast<qint64>(movie.frameOffsets[1]) + 20;
    layer.spoil(bad, bad + 1);
    const LogCapture quiet(LogLevel::Error);
    try {
        layer.during(copy);
        ADD_FAILURE() << "nothing thrown";
    } catch (const IOFileException& failure) {
        EXPECT_EQ(failure.code().toStdString(), "MM_NC_MMAP");
        EXPECT_EQ(failure.origin(), SYSCALL);
    }
    EXPECT_EQ(parseMovie(readFile(output)).frames, std::vector<QByteArray>{movie.frames.front()});
}

/// Of a recorder that was killed while it wrote its last frame.
QByteArray tornRecording(const QByteArray& movie) {
    const Movie parsed = parseMovie(movie);
    return movie.left(static_cast<qint64>(parsed.frameOffsets.back()) + 40);
}

AttributeChunk attributesFor(const Recording& recording) {
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    writeFile(path, movieOf(recording));
    return ImageUtilities::attributesOf(path);
}

std::vector<Tool> tools() {
    Recording recording;
    recording.fibers = true;
    const QByteArray movie = movieOf(recording);
    const QByteArray torn = tornRecording(movie);
    const AttributeChunk attributes = attributesFor(recording);
    const auto salvage = [attributes](const QString& damaged, const QString&) {
        ImageUtilities::salvage(damaged, attributes);
    };
    const auto salvageTo = [attributes](const QString& damaged, const QString& output) {
        ImageUtilities::salvageTo(damaged, output, attributes);
    };
    return {{"Compress", movie, false,
             [](const QString& from, const QString& to) {
                 RSQCompress::compressFile(_inputFilename = from, _outputFilename = to,
                                           _compression = CompressionType::GZip);
             }},
            {"Salvage", torn, true, salvage, true},
            {"SalvageOfALostEnd", movie + torn.right(40), true, salvage, true},
            {"SalvageOfASoundFile", movie, false, salvage},
            {"SalvageTo", torn, false, salvageTo, true},
            {"SalvageOfASoundFileTo", movie, false, salvageTo}};
}

INSTANTIATE_TEST_SUITE_P(Tools, ToolFaults, testing::ValuesIn(tools()),
                         [](const auto& tool) { return tool.param.name; });

}  // namespace
