// Reading the header again while frames are in the hands of a caller: a viewer shows one frame
// while a recorder makes the file longer.

#include <algorithm>

#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

class ReloadHeader : public MovieReader {
protected:
    /// Puts another frame, of a size of its own, and a new info chunk behind what there is.
    void grow(qsizetype frameBytes) {
        movie.raw(chunk(MovieBytes::Info, movie.info()));
        movie.frame(QByteArray(frameBytes, 'g'));
        file.put(0, MovieBytes(movie).attribute("comment", "grown").bytes());
    }

    /// As it was handed out, without a copy.
    const char* requestFrame(unsigned int index) {
        const void* data = nullptr;
        EXPECT_TRUE(reader.getRawFrame(data, index));
        return static_cast<const char*>(data);
    }

    static bool isFilledWith(const char* pixels, char value) {
        return std::all_of(pixels, pixels + frameSize, [=](char each) { return each == value; });
    }

    static constexpr qsizetype frameSize = 300000;
    MovieBytes movie = MovieBytes()
                           .size(1000, 300)
                           .attribute("pixtype", MZ_UCHAR)
                           .frame(QByteArray(frameSize, 'a'))
                           .frame(QByteArray(frameSize, 'b'));
};

TEST_F(ReloadHeader, AFrameStaysWhereItIsWhenTheFileHasGrown) {
    open(movie);
    const char* const first = requestFrame(0);
    for (int i = 0; i < 3; ++i) {
        grow(3 << 20);
        reader.reloadHeader();
        EXPECT_EQ(reader.getComment(), QStringLiteral("grown"));
        EXPECT_TRUE(isFilledWith(first, 'a'));
    }
    EXPECT_TRUE(isFilledWith(requestFrame(1), 'b'));
    EXPECT_TRUE(isFilledWith(requestFrame(0), 'a'));
}

TEST_F(ReloadHeader, AFrameStaysWhereItIsWhenReloadingFails) {
    open(movie);
    const char* const first = requestFrame(0);
    file.put(file.size(), QByteArray(1 << 20, 'x'));
    const LogCapture quiet;
    EXPECT_THROW(reader.reloadHeader(), IOFileException);
    EXPECT_TRUE(isFilledWith(first, 'a'));
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_TRUE(isFilledWith(requestFrame(1), 'b'));
}

TEST_F(ReloadHeader, TheNextFrameOfAGrownFileCanBeHad) {
    open(movie);
    requestFrame(1);
    grow(frameSize);
    reader.reloadHeader();
    EXPECT_EQ(reader.nbFrames(), 2U) << "as many as when the movie was opened";
    reader.open(file.path());
    EXPECT_TRUE(isFilledWith(requestFrame(2), 'g'));
}

}  // namespace
