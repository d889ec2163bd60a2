// Every call to the system that reading a movie makes fails once, in every way: the reader says so
// or gives the right answer, never a wrong one, and afterwards it gives the right one.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <set>

#include <tests/support/faultlayer.h>
#include <tests/support/logcapture.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

/// What a request gave, as bytes; null when it found nothing.
using Answer = QByteArray;

struct Request {
    std::string name;
    std::function<Answer(ImageReader&, const QString& path)> run;
};

template <class Value>
Answer answerOf(const std::vector<Value>& values) {
    return QByteArray(reinterpret_cast<const char*>(values.data()),
                      static_cast<qsizetype>(values.size() * sizeof(Value)));
}

Answer answerOf(const void* data, qsizetype size) {
    return QByteArray(static_cast<const char*>(data), size);
}

Request frame(unsigned int index) {
    return {"frame " + std::to_string(index), [index](ImageReader& reader, const QString&) {
                const void* data = nullptr;
                return reader.getFrame(data, index) ? answerOf(data, scenarioFrameBytes) : Answer();
            }};
}

Request rawFrame(unsigned int index) {
    return {"raw frame " + std::to_string(index), [index](ImageReader& reader, const QString&) {
                const void* data = nullptr;
                const auto size = reader.getRawFrame(data, index);
                return size ? answerOf(data, *size) : Answer();
            }};
}

std::vector<Request> requests() {
    return {
        {"open",
         [](ImageReader& reader, const QString& path) {
             reader.open(path);
             Answer found = QByteArray::number(reader.nbFrames()) + reader.getComment().toUtf8();
             for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
                 found += QByteArray::number(double{reader.getLaserPower(i).value_or(-1)}) + ' ';
                 found += QByteArray::number(reader.getFrameTiming(i).value_or(timeval{}).tv_sec);
             }
             return found;
         }},
        frame(0),
        rawFrame(2),
        {"fibres",
         [](ImageReader& reader, const QString&) {
             std::vector<float> positions;
             reader.getWorldFiberCenters(positions, ImageReader::NoFiberFiltering);
             return answerOf(positions);
         }},
        {"header again",
         [](ImageReader& reader, const QString&) {
             reader.reloadHeader();
             return reader.getComment().toUtf8();
         }},
        frame(3),
        {"close", [](ImageReader& reader, const QString&) {
             reader.close();
             return Answer("closed");
         }}};
}

std::vector<Effect> effectsOn(Call call) {
    switch (call) {
        case Call::Read:
            return {{EIO, 0}, {EBADF, 0}, {EINTR, 0}, {0, 0}, {0, 8}, {0, Effect::allButOne}};
        case Call::Map:
        case Call::Unmap:
            return {{ENOMEM, 0}};
        default:
            return {{EIO, 0}, {EACCES, 0}, {EINTR, 0}};
    }
}

using Codes = std::set<std::string>;

/// What may be said of a fault; nothing when it must not be noticed.
Codes codesOf(const Fault& fault) {
    if (fault.effect.error == EINTR) return {};
    switch (fault.call) {
        case Call::Open:
            return {"FR_OF_OPEN"};
        case Call::Stat:
            return {"FR_OF_STAT", "MM_NC_MMAP", "MM_CR_MMAP"};
        case Call::Read:
            // A read that gives nothing is the end of the file.
            if (fault.effect.error == 0 && fault.effect.bytes == 0)
                return {"IR_MISSINFO", "nothing found", "MM_NC_BOUND", "MM_CR_BOUND"};
            return {"CHB_LDF_READ", "MM_NC_MMAP", "MM_CR_MMAP"};
        case Call::Seek:
            return {"CHB_LFD_SEEK", "MM_SE_SEEK"};
        case Call::Map:
            // Without a map of the whole file one of the chunk serves.
            return fault.times == 1 ? Codes{} : Codes{"MM_NC_MMAP", "MM_CR_MMAP"};
        case Call::Unmap:
            return {"MM_UNMAP"};
        default:
            return {};
    }
}

class ReaderFaults : public testing::TestWithParam<Recording> {
protected:
    void SetUp() override {
        path = dir.filePath(QStringLiteral("movie"));
        writeFile(path, movieOf(GetParam()));
        FaultLayer layer(path);
        ImageReader reader;
        for (const Request& request : requests()) {
            layer.during([&] { answers.push_back(request.run(reader, path)); });
            ASSERT_FALSE(answers.back().isNull()) << request.name;
        }
        for (Call call : allCalls)
            calls.push_back(layer.calls(call));
    }

    void disturb(const Fault& fault) {
        SCOPED_TRACE(fault.text());
        const int descriptors = openDescriptors();
        {
            LogCapture log(LogLevel::Error);
            FaultLayer layer(path, {fault});
            ImageReader reader;
            const std::vector<Request> all = requests();
            for (size_t i = 0; i < all.size(); ++i) {
                SCOPED_TRACE(all[i].name);
                const int hits = layer.hits();
                const std::string said = askDisturbed(all[i], i, reader, layer, log);
                if (layer.hits() == hits) {
                    EXPECT_EQ(said, "the right answer");
                    continue;
                }
                expectSaid(said, codesOf(fault));
                layer.lift();
                // Opening without powers, say, was no failure; what follows would miss them.
                if (said == "nothing found") all.front().run(reader, path);
                EXPECT_EQ(all[i].run(reader, path), answers[i]) << "second try";
            }
            EXPECT_EQ(layer.hits(), fault.times) << "the fault was never met";
        }
        EXPECT_EQ(openDescriptors(), descriptors);
    }

    std::string askDisturbed(const Request& request, size_t number, ImageReader& reader,
                             FaultLayer& layer, const LogCapture& log) const {
        Answer answer;
        try {
            layer.during([&] { answer = request.run(reader, path); });
        } catch (const BaseException& thrown) {
            if (log.records().empty()) return "thrown without a record";
            EXPECT_EQ(log.records().back().code, thrown.code());
            return thrown.code().toStdString();
        }
        if (answer == answers[number]) return "the right answer";
        return answer.isEmpty() || number == 0 ? "nothing found" : "a wrong answer";
    }

    static void expectSaid(const std::string& said, const Codes& codes) {
        // Some calls only save time or memory: the right answer is always right.
        EXPECT_TRUE(said == "the right answer" || codes.count(said) == 1) << said;
    }

    QTemporaryDir dir;
    QString path;
    std::vector<Answer> answers;
    std::vector<int> calls;
};

TEST_P(ReaderFaults, EachCallFailsOnceInEveryWay) {
    std::vector<Call> made = {Call::Open, Call::Read, Call::Seek, Call::Stat};
    // Only pixels that are handed out as they stand in the file are mapped.
    if (GetParam().compression == CompressionType::None)
        made.insert(made.end(), {Call::Map, Call::Unmap});
    for (Call call : made) {
        const int count = calls[static_cast<size_t>(call)];
        EXPECT_GT(count, 0) << nameOf(call);
        for (int position = 1; position <= count; ++position)
            for (const Effect& effect : effectsOn(call))
                disturb({call, position, effect});
    }
}

TEST_P(ReaderFaults, AMapThatCannotBeHadEvenOfOneChunkIsTold) {
    for (int position = 1; position <= calls[static_cast<size_t>(Call::Map)]; ++position)
        disturb({Call::Map, position, {ENOMEM, 0}, 2});
}

std::vector<Recording> recordings() {
    Recording raw;
    raw.fibers = true;
    Recording compressed = raw;
    compressed.compression = CompressionType::ZLib;
    return {raw, compressed};
}

INSTANTIATE_TEST_SUITE_P(Reader, ReaderFaults, testing::ValuesIn(recordings()),
                         [](const auto& recording) {
                             const bool raw = recording.param.compression == CompressionType::None;
                             return std::string(raw ? "Raw" : "Compressed");
                         });

TEST(FailingClose, LeavesTheMovieOpenUntilItIsClosedAgain) {
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    writeFile(path, movieOf({}));
    ImageReader reader(path);
    const void* data = nullptr;
    ASSERT_TRUE(reader.getFrame(data, 0));
    {
        const LogCapture quiet;
        const FailingCalls stuck(Call::Unmap, ENOMEM);
        EXPECT_THROW(reader.close(), CriticalException);
        EXPECT_EQ(stuck.hits(), 1);
    }
    EXPECT_EQ(reader.getFilename(), path);
    ASSERT_TRUE(reader.getFrame(data, 1));
    EXPECT_EQ(answerOf(data, scenarioFrameBytes), scenarioFrame(1));
    reader.close();
    EXPECT_EQ(reader.getFilename(), QString());
    EXPECT_FALSE(reader.getFrame(data, 1));
}

}  // namespace
