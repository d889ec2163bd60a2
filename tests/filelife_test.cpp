// The life of one movie, from its recording to a recompressed copy; after each step the whole file
// is looked at by a parser that shares nothing with the library.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/rsqcompressutil.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <tests/support/movieparser.h>
#include <tests/support/recordings.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

const std::vector<uint32_t> trailing = {6, 7, 8, 5};

/// What each frame of the movie is expected to hold, in the order of the index.
struct Expected {
    std::vector<QByteArray> frames;
    std::vector<int> seconds;  ///< stored in ascending order, whatever the order of the frames
    std::vector<int> powers;   ///< as bytes
};

int powerByte(float power) {
    return static_cast<int>(power * 254 + 0.5F);
}

class FileLife : public testing::Test {
protected:
    void record() {
        ImageWriter writer;
        writer.create(_file.path(), false);
        writer.width(_kind.width);
        writer.height(_kind.height);
        writer.pixType(MZ_USHORT);
        writer.setComment(QStringLiteral("two\nlines"));
        writer.addRasterFiberContinuousIndexes(someFibers());
        for (int i = 0; i < 3; ++i)
            add(writer, i);
        writer.close();
    }

    void add(ImageWriter& writer, int number) {
        const QByteArray frame = frameOf(_kind, number);
        writer.addFrameAtEnd(frame.constData(), static_cast<int>(frame.size()), timeOfFrame(number),
                             powerOfFrame(number));
        _expected.frames.push_back(frame);
        _expected.seconds.push_back(1000 + number);
        _expected.powers.push_back(powerByte(powerOfFrame(number)));
    }

    void expectWhole(QString const& path) const {
        const Movie movie = soundMovie(path);
        std::vector<uint32_t> types(_expected.frames.size(), 2);
        types.insert(types.end(), trailing.begin(), trailing.end());
        EXPECT_EQ(movie.types(), types);
        EXPECT_EQ(movie.frames, _expected.frames);
        EXPECT_EQ(movie.powers, _expected.powers);
        ASSERT_EQ(movie.times.size(), _expected.seconds.size());
        for (size_t i = 0; i < movie.times.size(); ++i)
            EXPECT_EQ(movie.times[i].sec, _expected.seconds[i]) << i;
        EXPECT_EQ(movie.fiberWords.size(), someFibers().size());
        EXPECT_EQ(movie.attribute("comment"), QByteArray("two\alines"));
        EXPECT_EQ(movie.attribute("endian"), QByteArray("2"));
    }

    RecordingKind _kind;
    ScratchFile _file;
    Expected _expected;
};

TEST_F(FileLife, KeepsTheFileWholeAtEachStep) {
    record();
    expectWhole(_file.path());
    {
        SCOPED_TRACE("append");
        ImageWriter writer;
        writer.modify(_file.path());
        add(writer, 3);
        add(writer, 4);
        writer.close();
        expectWhole(_file.path());
    }
    {
        SCOPED_TRACE("replace");
        ImageWriter writer;
        writer.modify(_file.path());
        const QByteArray frame = frameOf(_kind, 40);
        timeval time{};
        time.tv_sec = 1001;
        writer.replaceFrame(frame.constData(), 1, time, 1.0F);
        writer.close();
        _expected.frames[1] = frame;
        _expected.powers[1] = 254;
        expectWhole(_file.path());
    }
    {
        SCOPED_TRACE("ring");
        ImageWriter writer;
        writer.modify(_file.path());
        writer.setFirstFrame(2);
        writer.close();
        std::rotate(_expected.frames.begin(), _expected.frames.begin() + 2, _expected.frames.end());
        std::rotate(_expected.powers.begin(), _expected.powers.begin() + 2, _expected.powers.end());
        expectWhole(_file.path());
    }
    {
        SCOPED_TRACE("annotate");
        ImageReader reader(_file.path());
        AttributeChunk attributes = reader.attributeChunk();
        reader.close();
        attributes.set(QStringLiteral("plug_operator"), QStringLiteral("somebody"));
        ImageWriter().modifyAttribute(_file.path(), attributes);
        expectWhole(_file.path());
        EXPECT_EQ(soundMovie(_file.path()).attribute("plug_operator"), QByteArray("somebody"));
    }
    {
        SCOPED_TRACE("recompress");
        const ScratchFile packed;
        const ScratchFile unpacked;
        RSQCompress::compressFile(_inputFilename = _file.path(), _outputFilename = packed.path(),
                                  _compression = CompressionType::BZip2);
        const Movie movie = soundMovie(packed.path());
        EXPECT_EQ(movie.attribute("compression_type"), QByteArray("bz2"));
        EXPECT_EQ(movie.attribute("plug_operator"), QByteArray("somebody"));
        EXPECT_EQ(movie.powers, _expected.powers);
        for (QByteArray const& frame : movie.frames)
            EXPECT_TRUE(frame.startsWith("BZh9"));
        RSQCompress::compressFile(_inputFilename = packed.path(),
                                  _outputFilename = unpacked.path());
        expectWhole(unpacked.path());
    }
}

}  // namespace
