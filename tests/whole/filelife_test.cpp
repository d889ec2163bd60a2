// One movie on its way through every operation that changes files. After each step it is compared
// byte for byte with what a model of the format says, and judged by the independent parser.

#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/rsqcompressutil.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int width = 16;
constexpr int height = 8;

/// What a finished movie holds, and its bytes.
struct Model {
    std::vector<QByteArray> frames;  ///< in the order of the file
    std::vector<size_t> order;       ///< the place in the file of each frame of the index
    QByteArray fibers, times, powers;
    std::map<QByteArray, QByteArray> text;

    void append(const QByteArray& frame, uint32_t seconds, char power) {
        order.push_back(frames.size());
        frames.push_back(frame);
        times += le32(seconds) + le32(0);
        powers += power;
    }

    QByteArray bytes() const {
        QByteArray file;
        std::vector<uint32_t> offsets;
        for (const QByteArray& frame : frames) {
            offsets.push_back(static_cast<uint32_t>(file.size()));
            file += chunk(2, frame);
        }
        QByteArray index;
        for (const size_t place : order)
            index += indexRecord(2, offsets[place], static_cast<uint32_t>(frames[place].size()));
        uint32_t type = 6;
        for (const QByteArray& payload : {fibers, times, powers}) {
            index += indexRecord(type, static_cast<uint32_t>(file.size()),
                                 static_cast<uint32_t>(payload.size()));
            file += chunk(type++, payload);
        }
        QByteArray lines;
        for (const auto& [key, value] : text)
            lines += key + '=' + value + '\n';
        return file + chunk(5, le32(static_cast<uint32_t>(index.size() / 12)) + index + lines);
    }

    /// The movie as its copy stores it: each frame where it is played.
    Model inOrderOfPlay() const {
        Model copy = *this;
        for (size_t i = 0; i < order.size(); ++i) {
            copy.frames[i] = frames[order[i]];
            copy.order[i] = i;
        }
        return copy;
    }
};

class FileLife : public testing::Test {
protected:
    FileLife() {
        setenv("TZ", "<+02>-2", 1);  // two hours east, whatever the machine
        tzset();
    }

    static QByteArray frame(uint32_t number) { return frame16(width * height, number); }

    void expectAsModelled(const char* step) {
        SCOPED_TRACE(step);
        expectAsModelled(file.path(), model);
    }

    static void expectAsModelled(const QString& path, const Model& expected) {
        EXPECT_EQ(readFile(path), expected.bytes());
        const Movie movie = soundMovie(path);
        ASSERT_EQ(movie.frames.size(), expected.frames.size());
        ImageReader reader(path);
        for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
            const void* data = nullptr;
            const auto size = reader.getRawFrame(data, i);
            ASSERT_TRUE(size);
            EXPECT_EQ(QByteArray(static_cast<const char*>(data), *size),
                      expected.frames[expected.order[i]]);
        }
    }

    void record() {
        ImageWriter writer;
        writer.create(file.path(), false);
        setSize(writer, width, height);
        writer.addRasterFiberContinuousIndexes({0, 0, width - 1, height - 1});
        for (uint32_t i = 0; i < 4; ++i)
            add(writer, frame(i), timeOf(100 + i), i % 2 == 0 ? 1.0F : -1.0F);
        writer.close();

        for (uint32_t i = 0; i < 4; ++i)
            model.append(frame(i), 100 + i, i % 2 == 0 ? '\xfe' : '\xff');
        model.fibers = le32(0) + le32(0) + le32(4026531839U) + le32(3758096383U);
        model.text = {{"compression_type", "none"},
                      {"endian", "2"},
                      {"height", "8"},
                      {"pixbits", "16"},
                      {"pixtype", "5"},
                      {"utc_offset_seconds", "7200"},
                      {"width", "16"}};
    }

    /// Two frames, the second of them a second after the first. Times are kept in ascending order.
    void append(uint32_t seconds) {
        ImageWriter writer;
        writer.modify(file.path());
        add(writer, frame(4), timeOf(seconds), 0.0F);
        writer.addFrameAtEnd(frame(5).constData(), width * height * 2, timeOf(seconds + 1), 1.0F);
        writer.setComment(QStringLiteral("two\nlines"));
        writer.close();

        model.append(frame(4), seconds, '\0');
        model.append(frame(5), seconds + 1, '\xfe');
        model.text["comment"] = "two\alines";
    }

    /// Replaces the frame that the index lists at `number`.
    void replace(unsigned int number, uint32_t seed, uint32_t seconds) {
        ImageWriter writer;
        writer.modify(file.path());
        writer.replaceFrame(frame(seed).constData(), number, timeOf(seconds), 0.0F);
        writer.close();

        model.frames[model.order[number]] = frame(seed);
        model.times.replace(8 * qsizetype{number}, 8, le32(seconds) + le32(0));
        model.powers[number] = '\0';
    }

    /// Of the first four or, when there are no more, of all frames.
    void arrangeRing(int frames) {
        ImageWriter writer;
        writer.modify(file.path());
        frames > 4 ? writer.organizeIndex(1, 4) : writer.setFirstFrame(1);
        writer.close();

        std::rotate(model.order.begin(), model.order.begin() + 1, model.order.begin() + 4);
        std::rotate(model.powers.begin(), model.powers.begin() + 1, model.powers.begin() + 4);
    }

    void annotate() {
        AttributeChunk attributes = ImageReader(file.path()).attributeChunk();
        attributes.set(QStringLiteral("plug_event_1"), QStringLiteral("2\ainjection"));
        attributes.erase(QStringLiteral("comment"));
        ImageWriter writer;
        writer.modifyAttribute(file.path(), attributes);

        model.text["plug_event_1"] = "2\ainjection";
        model.text.erase("comment");
    }

    ScratchFile file;
    Model model;
};

TEST_F(FileLife, GoesByTheBookAtEachStep) {
    record();
    expectAsModelled("recorded");

    {
        ImageWriter writer;
        writer.modify(file.path());
    }
    expectAsModelled("opened and closed again");

    append(110);
    expectAsModelled("appended");

    replace(1, 71, 101);
    expectAsModelled("frame replaced");

    arrangeRing(6);
    expectAsModelled("made a ring");

    replace(3, 73, 103);
    expectAsModelled("frame of the ring replaced");

    annotate();
    expectAsModelled("annotated");

    append(120);
    expectAsModelled("appended to the ring");

    file.resize(file.size() - 1);
    {
        const LogCapture quiet;
        ImageUtilities::salvage(file.path(), AttributeChunk());
    }
    expectAsModelled("cut and salvaged");

    // Without index and powers, which the cut has reached, the order is that of the file.
    const auto info = static_cast<qint64>(soundMovie(file.path()).chunks.back().offset);
    file.resize(info - 8);
    const QString copy = file.sibling("copy");
    AttributeChunk attributes;
    for (const auto& [key, value] : model.text)
        attributes.set(QString::fromLatin1(key), QString::fromLatin1(value));
    {
        const LogCapture quiet;
        ImageUtilities::salvageTo(file.path(), copy, attributes);
    }
    const Movie salvaged = soundMovie(copy);
    EXPECT_EQ(salvaged.frames, model.frames);
    EXPECT_EQ(salvaged.times, parseMovie(model.bytes()).times);
    EXPECT_TRUE(salvaged.powers.empty());
}

TEST_F(FileLife, GoesOnThroughEveryCompression) {
    record();
    arrangeRing(4);
    annotate();
    expectAsModelled("before the first copy");
    model.text["data_type"] = "imp";
    model.text["plug_event_1"] = "3\ainjection";  // each copy counts one frame more
    for (const CompressionType::e compression :
         {CompressionType::ZLib, CompressionType::GZip, CompressionType::BZip2}) {
        const QString packed = file.sibling("packed");
        RSQCompress::compressFile(_inputFilename = file.path(), _outputFilename = packed,
                                  _compression = compression);
        Movie movie = soundMovie(packed);
        Model expected = model.inOrderOfPlay();
        ASSERT_EQ(movie.frames.size(), expected.frames.size());
        for (size_t i = 0; i < movie.frames.size(); ++i) {
            EXPECT_EQ(decompressed(compression, movie.frames[i], 1000), expected.frames[i]);
            expected.frames[i] = movie.frames[i];
        }
        expected.text["compression_type"] = movie.attribute("compression_type");
        EXPECT_EQ(readFile(packed), expected.bytes());

        const QString unpacked = file.sibling("unpacked");
        RSQCompress::compressFile(_inputFilename = packed, _outputFilename = unpacked);
        expected = model.inOrderOfPlay();
        expected.text["plug_event_1"] = "4\ainjection";
        expectAsModelled(unpacked, expected);
    }
}

}  // namespace
