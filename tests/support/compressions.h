#pragma once

// Movies to copy with RSQCompress, and a fixture that copies them.

#include <libDataIO/rsqcompressutil.h>

#include <tests/support/expectfailure.h>
#include <tests/support/frames.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/repeatingservice.h>
#include <tests/support/scratchfile.h>

namespace mz::test {

/// The stored fraction of a fibre in the middle of a pixel.
inline uint32_t fraction(int pixel, int side) {
    return static_cast<uint32_t>(pixel * 4294967295.0 / side);
}

/// 16 × 8 pixels of 16 bits and eight fibres: sixteen pixels a fibre. Fibre i lies at pixel 2 i of
/// row i.
constexpr int movieWidth = 16;
constexpr int movieHeight = 8;
constexpr int moviePixels = movieWidth * movieHeight;
constexpr int movieFibers = 8;
constexpr int fiberStep = movieWidth + 2;

inline MovieBytes withHeader(MZImagePixelType type = MZ_USHORT) {
    MovieBytes movie;
    movie.size(movieWidth, movieHeight).attribute("pixtype", type);
    return movie.endian(Order::Little);
}

inline MovieBytes& addFibers(MovieBytes& movie) {
    QByteArray words;
    for (int i = 0; i < movieFibers; ++i)
        words += le32(fraction(2 * i, movieWidth)) + le32(fraction(i, movieHeight));
    return movie.chunk(MovieBytes::FiberCenter, words);
}

/// Frames of images, numbered from 0, then the fibres.
inline MovieBytes images(int frames) {
    MovieBytes movie = withHeader();
    for (int i = 0; i < frames; ++i)
        movie.frame(numberedFrame(i, moviePixels));
    return addFibers(movie);
}

class Compression : public testing::Test {
protected:
    QString in() const { return _input.path(); }
    QString out() const { return _input.sibling("output"); }

    void put(const MovieBytes& movie) { writeFile(in(), movie.bytes()); }

    Movie compressed(RSQCompress::Vectorization vectorization = RSQCompress::SameAsInput,
                     CompressionType::e compression = CompressionType::None, int first = -1,
                     int last = -1) {
        RSQCompress::compressFileImpl(in(), out(), compression, vectorization, first, last, nullptr,
                                      repeatingService());
        return soundMovie(out());
    }

    /// The same failure as any other, but for the number of frames that were copied before it.
    template <class Action>
    void expectFailureAfter(size_t frames, const Failure& failure, Action action) {
        expectFailure<IOFileException>(failure, action);
        EXPECT_EQ(soundMovie(out()).frames.size(), frames);
    }

private:
    ScratchFile _input;
};

inline Failure compressFailure(const char* code, const char* message) {
    return {"dataio.rsqcompressutil", SOFTWARE, code, QString::fromLatin1(message)};
}

inline Failure invalidCopiedSize() {
    return compressFailure("RC_CF_SIZE", "Frame size is invalid, file may be corrupted.");
}

}  // namespace mz::test
