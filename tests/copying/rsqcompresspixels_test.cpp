// Copying movies of wider pixels than compression is for.

#include <libDataIO/payloads/compressions.h>

#include <gtest/gtest.h>

#include <tests/support/compressions.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int sizeOfImage = 2 * moviePixels;

class WidePixels : public Compression {
protected:
    /// Frames of those sizes in bytes.
    static MovieBytes framesOf(std::initializer_list<int> sizes, MZImagePixelType type) {
        MovieBytes movie = withHeader(type);
        for (const int size : sizes)
            movie.frame(QByteArray(size, 'x'));
        return movie;
    }

    void expectRefused(CompressionType::e to = CompressionType::GZip, int first = -1,
                       int last = -1) {
        QFile::remove(out());
        expectFailure<IOFileException>(
            compressFailure("RC_CF_PIXELS", "Only 16-bit pixels can be compressed."),
            [&] { compressed(RSQCompress::SameAsInput, to, first, last); });
        EXPECT_FALSE(QFile::exists(out()));
    }

    void expectCopied(size_t frames, CompressionType::e to = CompressionType::GZip, int first = -1,
                      int last = -1) {
        EXPECT_EQ(compressed(RSQCompress::SameAsInput, to, first, last).frames.size(), frames);
    }
};

TEST_F(WidePixels, AreRefusedByEveryCompressionBeforeThereIsAnOutput) {
    for (const MZImagePixelType type : {MZ_FLOAT, MZ_DOUBLE, MZ_INT, MZ_RGB, MZ_RGBA}) {
        put(framesOf({moviePixels * GetPixBits(type) / 8}, type));
        for (const CompressionTraits& to : compressions) {
            if (to.type == CompressionType::None) {
                expectCopied(1, to.type);
            } else {
                expectRefused(to.type);
            }
        }
    }
    put(framesOf({4 * moviePixels}, MZ_INT));
    writeFile(out(), "older");
    EXPECT_THROW(compressed(RSQCompress::SameAsInput, CompressionType::GZip), IOFileException);
    EXPECT_EQ(readFile(out()), "older");
}

TEST_F(WidePixels, BeginAboveTwoBytes) {
    put(framesOf({sizeOfImage, 1, sizeOfImage}, MZ_USHORT));
    expectCopied(3);
    put(framesOf({sizeOfImage, sizeOfImage + 1}, MZ_USHORT));
    expectRefused();
}

TEST_F(WidePixels, MatterInTheFramesThatAreCopied) {
    put(framesOf({100, sizeOfImage + 1, sizeOfImage}, MZ_USHORT));
    expectCopied(1, CompressionType::ZLib, 0, 0);
    expectCopied(1, CompressionType::ZLib, 2, 2);
    expectRefused(CompressionType::ZLib, 0, 1);
    expectRefused(CompressionType::ZLib, 1, -1);
}

TEST_F(WidePixels, AreWhateverTheHeaderDoesNotTellTheSizeOf) {
    for (const auto& [width, height] : {std::pair(0, 8), std::pair(16, 0), std::pair(-16, -8)}) {
        MovieBytes movie;
        put(movie.size(width, height).frame(QByteArray(4 * moviePixels, 'x')));
        expectCopied(1);
    }
    MovieBytes withoutHeight;
    put(withoutHeight.attribute("width", 1).frame(QByteArray(4 * moviePixels, 'x')));
    expectCopied(1);
}

TEST_F(WidePixels, AreSeenByTheirFramesNotByADamagedIndex) {
    MovieBytes movie = withHeader();
    movie.raw(chunk(MovieBytes::Frame, numberedFrame(0, moviePixels)))
        .record(MovieBytes::Frame, 0, 0xffffffff);
    put(movie);
    expectCopied(1);
}

TEST_F(WidePixels, OfAVectorizedMovieAreRefusedAsWell) {
    MovieBytes movie = framesOf({sizeOfImage + 2}, MZ_USHORT);
    put(addFibers(movie.attribute("data_type", "vec")));
    expectRefused();
}

TEST_F(WidePixels, DoNotMatterWhereSamplesAreTaken) {
    MovieBytes movie = framesOf({sizeOfImage + 2}, MZ_USHORT);
    put(addFibers(movie));
    const Movie made = compressed(RSQCompress::VectorizeIfPossible, CompressionType::GZip);
    EXPECT_EQ(decompressed(CompressionType::GZip, made.frames.at(0), 100),
              QByteArray(2 * movieFibers, 'x'));
}

TEST_F(WidePixels, OfACompressedMovieComeAsTheirReadersSeeThem) {
    const QByteArray frame = numberedFrame(3, moviePixels);
    MovieBytes movie = withHeader(MZ_INT);
    movie.attribute("compression_type", "z").frame(test::compressed(CompressionType::ZLib, frame));
    put(movie);
    const Movie made = compressed(RSQCompress::SameAsInput, CompressionType::GZip);
    EXPECT_EQ(decompressed(CompressionType::GZip, made.frames.at(0), 1000), frame);
}

TEST_F(WidePixels, AreLookedAtAfterRangeAndNames) {
    put(framesOf({4 * moviePixels}, MZ_INT));
    expectFailure<IOFileException>(
        compressFailure("RC_CF_RANGE", "Frame range is outside the movie."),
        [&] { compressed(RSQCompress::SameAsInput, CompressionType::GZip, 0, 1); });
    expectFailure<IOFileException>(
        compressFailure("RC_CF_SAME", "Input and output are the same file."), [&] {
            RSQCompress::compressFile(_inputFilename = in(), _outputFilename = in(),
                                      _compression = CompressionType::GZip);
        });
}

}  // namespace
