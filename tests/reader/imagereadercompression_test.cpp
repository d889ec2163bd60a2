// Reading compressed frames: streams by the compression libraries, damaged streams, and sizes that
// no frame has.

#include <algorithm>
#include <cstring>
#include <ios>
#include <random>

#include <tests/support/frames.h>
#include <tests/support/limits.h>
#include <tests/support/moviereader.h>
#include <tests/support/processmemory.h>
#include <tests/support/recording.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

class CompressedMovie : public MovieReader, public testing::WithParamInterface<CompressionType::e> {
protected:
    /// An image of 4 × 2 samples.
    MovieBytes movie() const {
        MovieBytes out;
        out.size(4, 2).attribute("compression_type", attributeOf(GetParam()));
        return out;
    }
    QByteArray stream(const QByteArray& plain) const { return compressed(GetParam(), plain); }
};

/// The stream library's own exceptions are no BaseException.
template <class Action>
void expectStreamFailure(Action&& action) {
    LogCapture log;
    try {
        action();
        ADD_FAILURE() << "nothing thrown";
    } catch (const BaseException& thrown) {
        ADD_FAILURE() << thrown.what();
    } catch (const std::ios_base::failure&) {
        EXPECT_TRUE(log.records().empty());
    }
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, CompressedMovie, testing::ValuesIn(streamTypes()),
                         [](const auto& type) { return attributeOf(type.param); });

TEST_P(CompressedMovie, GivesSamples) {
    open(movie().frame(stream(risingFrame(1, 8))).frame(stream(risingFrame(500, 8))));
    EXPECT_EQ(rawFrame(1), risingFrame(500, 8));
    EXPECT_EQ(frame(0, 16), risingFrame(1, 8));
    EXPECT_EQ(reader.currFrameIdx(), 0U);
}

TEST_P(CompressedMovie, HasTwoBytesASampleWhateverItsPixels) {
    open(movie().attribute("pixbits", 8).frame(stream("eight px")));
    EXPECT_EQ(rawFrame(0), "eight px" + QByteArray(8, '\0'));
    open(movie().attribute("pixbits", 32).frame(stream(risingFrame(1, 8))));
    EXPECT_EQ(rawFrame(0), risingFrame(1, 8));
}

TEST_P(CompressedMovie, AShortStreamLeavesTheTailAsItWas) {
    open(movie()
             .frame(stream(risingFrame(1, 3)))
             .frame(stream(risingFrame(100, 8)))
             .frame(stream(risingFrame(200, 2) + 'x')));
    EXPECT_EQ(rawFrame(0), risingFrame(1, 3) + QByteArray(10, '\0'));
    EXPECT_EQ(rawFrame(1), risingFrame(100, 8));
    EXPECT_EQ(rawFrame(2), risingFrame(200, 2) + 'x' + risingFrame(100, 8).mid(5));
    EXPECT_EQ(rawFrame(1), risingFrame(100, 8));
    EXPECT_EQ(rawFrame(0), risingFrame(1, 3) + risingFrame(100, 8).mid(6));
}

TEST_P(CompressedMovie, AStreamThatIsTooLongFails) {
    open(movie()
             .frame(stream(risingFrame(1, 10)))
             .frame(stream(risingFrame(1, 8) + 'x'))
             .frame(stream(risingFrame(7, 8))));
    const void* data = nullptr;
    expectStreamFailure([&] { reader.getFrame(data, 0); });
    expectStreamFailure([&] { reader.getFrame(data, 1); });
    EXPECT_EQ(reader.currFrameIdx(), 1U);
    EXPECT_EQ(rawFrame(2), risingFrame(7, 8)) << "the reader goes on";
}

TEST_P(CompressedMovie, ADamagedStreamFails) {
    const QByteArray sound = stream(risingFrame(1, 8));
    // The checksum stands at the end; of gzip in front of the size, of bzip2 in front of padding.
    for (const qsizetype at : {qsizetype{0}, sound.size() / 2, sound.size() - 5}) {
        QByteArray damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        open(movie().frame(damaged).frame(sound));
        expectStreamFailure([&] { rawFrame(0); });
        EXPECT_EQ(rawFrame(1), risingFrame(1, 8));
    }
}

TEST_P(CompressedMovie, ACutStreamFails) {
    const QByteArray sound = stream(risingFrame(1, 8));
    for (qsizetype length = 0; length < sound.size(); ++length) {
        open(movie().frame(sound.left(length)));
        expectStreamFailure([&] { rawFrame(0); });
    }
}

TEST_P(CompressedMovie, SamplesAreSwappedAfterDecompression) {
    const QByteArray big = bytes16({1, 2, 3, 4, 5, 6, 7, 0xff00}, Order::Big);
    open(movie().endian(Order::Big).frame(stream(big)));
    EXPECT_EQ(rawFrame(0), bytes16({1, 2, 3, 4, 5, 6, 7, 0xff00}));
    EXPECT_EQ(rawFrame(0), bytes16({1, 2, 3, 4, 5, 6, 7, 0xff00}));
}

TEST_P(CompressedMovie, TheTailOfAShortStreamIsSwappedWithTheRest) {
    open(movie()
             .endian(Order::Big)
             .frame(stream(bytes16({1, 2, 3, 4, 5, 6, 7, 8}, Order::Big)))
             .frame(stream(bytes16({9}, Order::Big))));
    ASSERT_TRUE(rawFrame(0));
    EXPECT_EQ(rawFrame(1), bytes16({9}) + bytes16({2, 3, 4, 5, 6, 7, 8}, Order::Big));
}

TEST_P(CompressedMovie, AVectorizedFrameHasOneSampleAFiber) {
    open(MovieBytes()
             .size(100, 100)
             .attribute("data_type", "vec")
             .attribute("compression_type", attributeOf(GetParam()))
             .fibers({0, 0, 1, 1, 2, 2})
             .frame(stream(risingFrame(40, 3))));
    EXPECT_EQ(rawFrame(0), risingFrame(40, 3));
}

TEST_P(CompressedMovie, TheBufferIsSizedOnceAnOpen) {
    open(movie().frame(stream(risingFrame(1, 8))));
    ASSERT_TRUE(rawFrame(0));
    reader.attributeChunk().set(QStringLiteral("width"), 400);
    EXPECT_EQ(rawFrame(0), risingFrame(1, 8));
    open(MovieBytes()
             .size(2, 2)
             .attribute("compression_type", attributeOf(GetParam()))
             .frame(stream(risingFrame(1, 4))));
    EXPECT_EQ(rawFrame(0), risingFrame(1, 4));
}

TEST_P(CompressedMovie, WithoutAnImageSizeAFrameHasNoSamples) {
    open(MovieBytes()
             .attribute("compression_type", attributeOf(GetParam()))
             .frame(stream(""))
             .frame(stream("xx")));
    EXPECT_EQ(rawFrame(0), QByteArray(""));
    expectStreamFailure([&] { rawFrame(1); });
}

TEST_F(MovieReader, OtherCompressionTextsMeanNone) {
    for (const char* text : {"none", "Z", "GZ", "gzip", " z", "zz"}) {
        open(MovieBytes().size(4, 2).attribute("compression_type", text).frame("as it is"));
        EXPECT_EQ(rawFrame(0), QByteArray("as it is")) << text;
    }
}

// --- sizes that no frame has -----------------------------------------------------------------

namespace {

struct LimitCase {
    CompressionType::e type;
    int payload;  ///< bytes that 17,600,000 bytes of samples just need
};

class LargeFrames : public MovieReader, public testing::WithParamInterface<LimitCase> {
protected:
    /// A payload that is no stream: it fails in its own way once the size is believed.
    void openWith(int width, int height, int payload) {
        open(MovieBytes()
                 .size(width, height)
                 .attribute("compression_type", attributeOf(GetParam().type))
                 .frame(QByteArray(payload, '\0')));
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, LargeFrames,
                         testing::Values(LimitCase{CompressionType::ZLib, 16000},
                                         LimitCase{CompressionType::GZip, 16000},
                                         LimitCase{CompressionType::BZip2, 12}),
                         [](const auto& type) { return attributeOf(type.param.type); });

TEST_P(LargeFrames, NegativeAndOverflowingSizesAreRefused) {
    constexpr int most = 2147483647;
    for (const auto& [width, height] :
         std::initializer_list<std::pair<int, int>>{{-1, 2}, {2, -1}, {-3, -3}, {most, most}}) {
        openWith(width, height, 100);
        expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
    }
}

TEST_P(LargeFrames, SixteenMebibytesAreBelieved) {
    openWith(4096, 2048, 10);
    expectStreamFailure([&] { rawFrame(0); });
    openWith(2049, 4096, 10);
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
}

TEST_P(LargeFrames, MoreMustBeBackedByThePayload) {
    openWith(4400, 2000, GetParam().payload);
    expectStreamFailure([&] { rawFrame(0); });
    openWith(4400, 2000, GetParam().payload - 1);
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
}

TEST_P(LargeFrames, ARefusedSizeTakesNoMemory) {
    openWith(32768, 16384, 100);
    const int64_t before = processMemory("VmHWM");
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
    EXPECT_LT(processMemory("VmHWM") - before, 64 << 20);
}

// Larger than what the allocator may have kept of earlier frames.
TEST_P(LargeFrames, AFrameForWhichThereIsNoMemoryIsRefused) {
    DATAIO_SKIP_IF_SANITIZED();
    openWith(8800, 4000, 4 * GetParam().payload);
    const AddressSpaceLimit limit(4 << 20);
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
}

TEST_F(MovieReader, MemoryForOneFrameIsEnough) {
    DATAIO_SKIP_IF_SANITIZED();
    const QByteArray plain(8192 * 4096 * 2, 'x');
    open(MovieBytes()
             .size(8192, 4096)
             .attribute("compression_type", "z")
             .frame(compressed(CompressionType::ZLib, plain)));
    const AddressSpaceLimit limit(100 << 20);
    const void* data = nullptr;
    ASSERT_EQ(reader.getRawFrame(data, 0), static_cast<unsigned int>(plain.size()));
    EXPECT_EQ(std::memcmp(data, plain.constData(), static_cast<size_t>(plain.size())), 0);
}

TEST_F(MovieReader, AClaimOfBzip2TakesOnlyWhatIsDecoded) {
    DATAIO_SKIP_IF_SANITIZED();
    std::minstd_rand random;
    QByteArray plain(4000, '\0');
    std::generate(plain.begin(), plain.end(), [&] { return static_cast<char>(random() >> 8); });
    open(MovieBytes()
             .size(32768, 32768)
             .attribute("compression_type", "bz2")
             .endian(Order::Big)
             .frame(compressed(CompressionType::BZip2, plain)));
    const void* data = nullptr;
    EXPECT_LT(memoryTakenBy([&] {
                  EXPECT_EQ(reader.getRawFrame(data, 0), 2U << 30);
                  EXPECT_EQ(reader.getRawFrame(data, 0), 2U << 30);
              }),
              16 << 20);
}

TEST_F(MovieReader, ABombTakesNoMoreThanItsHeaderSays) {
    DATAIO_SKIP_IF_SANITIZED();
    const qsizetype bytes = 8192 * 4096 * 2;
    open(MovieBytes()
             .size(8192, 4096)
             .attribute("compression_type", "z")
             .frame(compressed(CompressionType::ZLib, QByteArray(4 * bytes, '\0'))));
    EXPECT_LT(memoryTakenBy([&] { expectStreamFailure([&] { rawFrame(0); }); }), bytes + (8 << 20));
}

TEST_F(MovieReader, FramesOfOneValueAreReadAsTheyWereRecorded) {
    const std::vector<uint16_t> uniform(size_t{4096} * 4096, 0x0101);
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 4096, 4096);
    writer.setCompression(CompressionType::BZip2);
    writer.addFrame(uniform.data());
    writer.close();
    reader.open(file.path());
    const void* data = nullptr;
    ASSERT_EQ(reader.getRawFrame(data, 0), static_cast<unsigned int>(uniform.size() * 2));
    EXPECT_EQ(std::memcmp(data, uniform.data(), uniform.size() * 2), 0);
}

TEST_F(MovieReader, AFrameWhoseSizeCannotBeReturnedIsRefused) {
    open(MovieBytes()
             .size(65536, 32768)  // 4 GiB, one more than an unsigned int holds
             .attribute("compression_type", "bz2")
             .frame(QByteArray(100000, '\0')));
    const int64_t before = processMemory("VmHWM");
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
    EXPECT_LT(processMemory("VmHWM") - before, 64 << 20);
}

TEST_F(MovieReader, AFiberCountIsQuestionedLikeAnImageSize) {
    const uint32_t fibers = (8 << 20) + 1;
    const auto end =
        static_cast<uint32_t>(putSparseChunk(file, 0, MovieBytes::FiberCenter, fibers * 8));
    const QByteArray stream = compressed(CompressionType::ZLib, risingFrame(1, 3));
    const QByteArray info = MovieBytes()
                                .record(MovieBytes::FiberCenter, 0, fibers * 8)
                                .record(MovieBytes::Frame, end, 0)
                                .size(10, 10)
                                .attribute("data_type", "vec")
                                .attribute("compression_type", "z")
                                .info();
    file.put(end, chunk(MovieBytes::Frame, stream) + chunk(MovieBytes::Info, info));
    reader.open(file.path());
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"), [&] { rawFrame(0); });
}
