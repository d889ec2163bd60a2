// Buffers of samples: zeros that cost nothing until they are written.

#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/samplebuffer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <utility>

#include <tests/support/limits.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int64_t mebibyte = 1 << 20;

/// Samples of so many bytes.
SampleBuffer bufferOf(int64_t bytes) {
    return SampleBuffer(static_cast<size_t>(bytes / 2));
}

bool isZero(const SampleBuffer& buffer) {
    return std::all_of(buffer.data(), buffer.data() + buffer.size(),
                       [](uint16_t sample) { return sample == 0; });
}

}  // namespace

TEST(SampleBuffer, BeginsAsZeros) {
    for (const size_t count : {size_t{1}, size_t{1000}, size_t{1} << 20}) {
        const SampleBuffer buffer(count);
        EXPECT_EQ(buffer.size(), count);
        EXPECT_EQ(buffer.written(), 0U);
        EXPECT_TRUE(isZero(buffer));
    }
}

TEST(SampleBuffer, WithoutSamplesIsEmpty) {
    EXPECT_TRUE(SampleBuffer().empty());
    EXPECT_TRUE(SampleBuffer(0).empty());
    EXPECT_FALSE(SampleBuffer(1).empty());
}

TEST(SampleBuffer, KnowsHowFarItWasWritten) {
    SampleBuffer buffer(10);
    std::fill_n(buffer.writable(4), 4, uint16_t{7});
    EXPECT_EQ(buffer.written(), 4U);
    buffer.writable(2);
    EXPECT_EQ(buffer.written(), 4U);
    EXPECT_EQ(buffer.data()[3], 7);
    EXPECT_EQ(buffer.data()[4], 0);
}

TEST(SampleBuffer, CanBeMadeNew) {
    for (const size_t count : {size_t{0}, size_t{10}, size_t{1} << 20}) {
        SampleBuffer buffer(count);
        std::fill_n(buffer.writable(count), count, uint16_t{7});
        buffer.renew();
        EXPECT_EQ(buffer.size(), count);
        EXPECT_EQ(buffer.written(), 0U);
        EXPECT_TRUE(isZero(buffer));
    }
}

TEST(SampleBuffer, SaysWhenThereIsNoMemory) {
    DATAIO_SKIP_IF_SANITIZED();
    EXPECT_THROW(SampleBuffer{SampleBuffer::most}, std::bad_alloc);
    SampleBuffer buffer = bufferOf(64 * mebibyte);
    const AddressSpaceLimit limit(static_cast<rlim_t>(32 * mebibyte));
    EXPECT_THROW(bufferOf(64 * mebibyte), std::bad_alloc);
    EXPECT_NO_THROW(buffer.renew()) << "two buffers at once";
}

TEST(SampleBuffer, TakesMemoryAsItIsWritten) {
    DATAIO_SKIP_IF_SANITIZED();
    SampleBuffer buffer;
    EXPECT_LT(memoryTakenBy([&] {
                  buffer = bufferOf(1024 * mebibyte);
                  std::fill_n(buffer.writable(1000), 1000, uint16_t{1});
              }),
              mebibyte);
}

namespace {

class FrameMemory : public testing::TestWithParam<CompressionType::e> {
protected:
    void decode(const QByteArray& stream) {
        decoder.decode(GetParam(), stream.constData(), static_cast<size_t>(stream.size()), samples);
    }

    FrameDecoder decoder;
    SampleBuffer samples;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, FrameMemory, testing::ValuesIn(streamTypes()),
                         [](const auto& type) { return attributeOf(type.param); });

TEST_P(FrameMemory, AFirstFrameTakesWhatItHolds) {
    DATAIO_SKIP_IF_SANITIZED();
    const QByteArray black = compressed(GetParam(), QByteArray(64 * mebibyte, '\0'));
    samples = bufferOf(64 * mebibyte);
    // bzip2 works in less than 4 MiB.
    EXPECT_LT(memoryTakenBy([&] { decode(black); }), 70 * mebibyte);
}

TEST_P(FrameMemory, AShortStreamTakesWhatItHolds) {
    DATAIO_SKIP_IF_SANITIZED();
    const QByteArray small = compressed(GetParam(), QByteArray(mebibyte, 'x'));
    samples = bufferOf(1024 * mebibyte);
    EXPECT_LT(memoryTakenBy([&] {
                  decode(small);
                  decode(small);
              }),
              8 * mebibyte);
}
