// Compressed frames decoded and encoded, against the compression libraries and the filter chain.

#include <libDataIO/payloads/framecodec.h>

#include <QString>
#include <boost/iostreams/copy.hpp>
#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <boost/iostreams/filtering_streambuf.hpp>
#include <boost/range/iterator_range.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <tests/support/bytes.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace io = boost::iostreams;

namespace {

using Samples = std::vector<uint16_t>;

constexpr uint16_t untouched = 0x5555;

SampleBuffer untouchedBuffer(size_t count) {
    SampleBuffer buffer(count);
    std::fill_n(buffer.writable(count), count, untouched);
    return buffer;
}

Samples samplesIn(const SampleBuffer& buffer) {
    return {buffer.data(), buffer.data() + buffer.size()};
}

/// What became of a stream: the samples, or the class of what was thrown.
struct Outcome {
    std::string thrown;
    Samples samples;
};

template <class Decode>
Outcome outcomeOf(Decode decode) {
    Outcome out;
    try {
        out.samples = decode();
    } catch (const io::zlib_error&) {
        out.thrown = "zlib_error";
    } catch (const io::gzip_error&) {
        out.thrown = "gzip_error";
    } catch (const io::bzip2_error&) {
        out.thrown = "bzip2_error";
    } catch (const std::ios_base::failure&) {
        out.thrown = "failure";
    }
    return out;
}

void decodeNext(FrameDecoder& decoder, CompressionType::e type, const QByteArray& stream,
                SampleBuffer& samples) {
    decoder.decode(type, stream.constData(), static_cast<size_t>(stream.size()), samples);
}

Outcome decodedInto(SampleBuffer samples, CompressionType::e type, const QByteArray& stream) {
    return outcomeOf([&] {
        FrameDecoder decoder;
        decodeNext(decoder, type, stream, samples);
        return samplesIn(samples);
    });
}

Outcome decoded(CompressionType::e type, const QByteArray& stream, size_t count) {
    return decodedInto(untouchedBuffer(count), type, stream);
}

/// The filter chain that defines what a stream is worth.
Outcome decodedByTheChain(CompressionType::e type, const QByteArray& stream, size_t count) {
    return outcomeOf([&] {
        Samples samples(count, untouched);
        io::filtering_istreambuf chain;
        switch (type) {
            case CompressionType::None:
                ADD_FAILURE() << "no compression";
                break;
            case CompressionType::ZLib:
                chain.push(io::zlib_decompressor(15, 4096));
                break;
            case CompressionType::GZip:
                chain.push(io::gzip_decompressor(15, 4096));
                break;
            case CompressionType::BZip2:
                chain.push(io::bzip2_decompressor(false, 4096));
                break;
        }
        chain.push(io::array_source(stream.constData(), static_cast<size_t>(stream.size())));
        auto* bytes = reinterpret_cast<char*>(samples.data());
        io::copy(chain, boost::iterator_range<char*>(bytes, bytes + 2 * count), 4096);
        return samples;
    });
}

/// A little compressible, as frames are.
QByteArray noise(qsizetype size, unsigned int seed = 1) {
    std::minstd_rand random(seed);
    QByteArray out;
    for (qsizetype i = 0; i < size; ++i)
        out.append(static_cast<char>(random() % 40));
    return out;
}

Samples samplesOf(const QByteArray& bytes, size_t count) {
    Samples out(count, untouched);
    std::memcpy(out.data(), bytes.constData(), static_cast<size_t>(bytes.size()));
    return out;
}

class Codec : public testing::TestWithParam<CompressionType::e> {
protected:
    static constexpr size_t count = 4000;
    static constexpr qsizetype size = 8000;

    QByteArray stream(const QByteArray& plain) const { return compressed(GetParam(), plain); }

    /// Decodes into 4000 samples; the chain must say the same.
    Outcome decode(const QByteArray& stream) const {
        Outcome out = decoded(GetParam(), stream, count);
        const Outcome given = decodedByTheChain(GetParam(), stream, count);
        EXPECT_EQ(out.thrown, given.thrown);
        EXPECT_EQ(out.samples, given.samples);
        return out;
    }

    void expectSamples(const QByteArray& bytes, const QByteArray& stream) const {
        const Outcome out = decode(stream);
        EXPECT_EQ(out.thrown, "");
        EXPECT_EQ(out.samples, samplesOf(bytes, count));
    }

    std::string ownError() const {
        if (GetParam() == CompressionType::ZLib) return "zlib_error";
        return GetParam() == CompressionType::GZip ? "gzip_error" : "bzip2_error";
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, Codec, testing::ValuesIn(streamTypes()),
                         [](const auto& type) { return attributeOf(type.param); });

// --- names -----------------------------------------------------------------------------------

TEST(CompressionNames, AreThoseOfTheFile) {
    for (const CompressionTraits& row : compressions) {
        EXPECT_EQ(compressionName(row.type), QString::fromLatin1(attributeOf(row.type)));
        EXPECT_EQ(compressionOfName(QString::fromLatin1(attributeOf(row.type))), row.type);
    }
}

TEST(CompressionNames, AreReadExactly) {
    for (const char* other : {"", "Z", "Gz", "bz", "bzip2", "z ", "zlib"})
        EXPECT_EQ(compressionOfName(QString::fromLatin1(other)), CompressionType::None) << other;
}

TEST(CompressionNames, OfOtherNumbersAreThatOfNone) {
    for (const int other : {-1, static_cast<int>(compressions.size()), 1000}) {
        EXPECT_EQ(compressionName(static_cast<CompressionType::e>(other)), QStringLiteral("none"));
        EXPECT_EQ(compressionOf(static_cast<CompressionType::e>(other)).type,
                  CompressionType::None);
    }
}

// --- decoding --------------------------------------------------------------------------------

TEST_P(Codec, DecodesAStream) {
    expectSamples(noise(size), stream(noise(size)));
}

TEST_P(Codec, AShortStreamLeavesTheRest) {
    for (const qsizetype length : {0, 1, 2, 4999, 5000, 7999})
        expectSamples(noise(length), stream(noise(length)));
}

TEST_P(Codec, ADecoderKeepsTheSamplesBehindAShortStream) {
    FrameDecoder decoder;
    SampleBuffer samples(count);
    const auto decode = [&](const QByteArray& plain) {
        decodeNext(decoder, GetParam(), stream(plain), samples);
        return samplesIn(samples);
    };
    decode(noise(size, 1));
    decode(noise(size, 2));
    EXPECT_EQ(decode(noise(1001, 3)), samplesOf(noise(1001, 3) + noise(size, 2).mid(1001), count));
    EXPECT_EQ(decode(noise(size, 4)), samplesOf(noise(size, 4), count));
}

TEST_P(Codec, BehindAShortFirstStreamAreZeros) {
    for (const qsizetype length : {0, 1, 4999}) {
        const Outcome out = decodedInto(SampleBuffer(count), GetParam(), stream(noise(length)));
        EXPECT_EQ(out.samples, samplesOf(noise(length) + QByteArray(size - length, '\0'), count));
    }
}

TEST_P(Codec, AFirstStreamThatFailsLeavesNothingBehindTheNext) {
    for (const QByteArray& bad : {stream(noise(size)).left(10), stream(noise(size + 1)),
                                  stream(noise(size)).chopped(5), QByteArray()}) {
        FrameDecoder decoder;
        SampleBuffer samples(count);
        EXPECT_THROW(decodeNext(decoder, GetParam(), bad, samples), std::ios_base::failure);
        decodeNext(decoder, GetParam(), stream(noise(size, 2)), samples);
        EXPECT_EQ(samplesIn(samples), samplesOf(noise(size, 2), count));
    }
}

TEST_P(Codec, ADamagedFirstStreamLeavesNothingBehindAShortOne) {
    FrameDecoder decoder;
    SampleBuffer samples(count);
    EXPECT_THROW(decodeNext(decoder, GetParam(), stream(noise(size)).chopped(20), samples),
                 std::ios_base::failure);
    decodeNext(decoder, GetParam(), stream(noise(100)), samples);
    EXPECT_EQ(samplesIn(samples), samplesOf(noise(100) + QByteArray(size - 100, '\0'), count));
}

TEST_P(Codec, AStreamThatIsTooLongFails) {
    EXPECT_EQ(decode(stream(noise(size + 1))).thrown, "failure");
    EXPECT_EQ(decode(stream(noise(10 * size))).thrown, "failure");
    EXPECT_EQ(decoded(GetParam(), stream("x"), 0).thrown, "failure");
    EXPECT_EQ(decoded(GetParam(), stream(""), 0).thrown, "");
}

TEST_P(Codec, ACutStreamFails) {
    const QByteArray sound = stream(noise(size));
    for (const qsizetype kept : {qsizetype{0}, qsizetype{1}, qsizetype{3}, sound.size() / 2,
                                 sound.size() - 9, sound.size() - 4, sound.size() - 1})
        EXPECT_EQ(decode(sound.left(kept)).thrown, ownError()) << kept;
}

TEST_P(Codec, DamageFails) {
    const QByteArray sound = stream(noise(size));
    // Start, middle and checksum, which stands in front of a size (gzip) or padding (bzip2).
    for (const qsizetype at : {qsizetype{0}, qsizetype{1}, sound.size() / 2, sound.size() - 5}) {
        QByteArray damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        EXPECT_EQ(decode(damaged).thrown, ownError()) << at;
    }
}

TEST_P(Codec, AnotherFormatFails) {
    for (const auto other : streamTypes()) {
        if (other == GetParam()) continue;
        EXPECT_EQ(decode(compressed(other, noise(size))).thrown, ownError());
    }
    EXPECT_EQ(decode(noise(size)).thrown, ownError());
}

TEST_P(Codec, StreamsBehindEachOther) {
    const QByteArray both = stream(noise(3000)) + stream(noise(5000, 2));
    if (GetParam() == CompressionType::ZLib) {
        expectSamples(noise(3000), both);  // zlib ends with its first stream
    } else {
        expectSamples(noise(3000) + noise(5000, 2), both);
    }
}

TEST_P(Codec, AStreamBehindAFullFrame) {
    const QByteArray full = stream(noise(size));
    expectSamples(noise(size), full + stream(""));
    const bool endsWithFirst = GetParam() == CompressionType::ZLib;
    EXPECT_EQ(decode(full + stream("more")).thrown, endsWithFirst ? "" : "failure");
}

TEST_P(Codec, GarbageBehindTheStream) {
    for (const char* garbage : {"x", "garbage behind the stream"}) {
        for (const qsizetype length : {size, qsizetype{5000}}) {
            const Outcome out = decode(stream(noise(length)) + garbage);
            EXPECT_EQ(out.thrown, GetParam() == CompressionType::ZLib ? "" : ownError());
        }
    }
    const Outcome zeros = decode(stream(noise(size)) + QByteArray(20, '\0'));
    EXPECT_EQ(zeros.thrown, GetParam() == CompressionType::ZLib ? "" : ownError());
}

TEST_P(Codec, RandomDamageIsSeenAsTheChainSeesIt) {
    const QByteArray sound = stream(noise(size));
    std::minstd_rand random(7);
    for (int round = 0; round < 300; ++round) {
        QByteArray damaged = sound;
        const auto at = static_cast<qsizetype>(random() % static_cast<size_t>(damaged.size()));
        switch (random() % 3) {
            case 0:
                damaged[at] = static_cast<char>(random());
                break;
            case 1:
                damaged.insert(at, static_cast<char>(random()));
                break;
            default:
                damaged.remove(at, 1);
        }
        decode(damaged);
    }
}

namespace {

/// A gzip member with the fields that its flags announce.
QByteArray gzipMember(const QByteArray& plain, int flags, const QByteArray& extraField) {
    const QByteArray sound = compressed(CompressionType::GZip, plain);
    QByteArray header = sound.left(10);
    header[3] = static_cast<char>(flags);
    if (flags & 4) header += extraField;
    if (flags & 8) header += QByteArray("name", 5);
    if (flags & 16) header += QByteArray("comment", 8);
    if (flags & 2) header += "??";
    return header + sound.mid(10);
}

const QByteArray someExtra("\3\0abc", 5);
const QByteArray longExtra = QByteArray("\5\1", 2) + QByteArray(0x105, 'x');
const QByteArray emptyExtra(2, '\0');

}  // namespace

TEST(GzipFrames, HeaderFieldsAreSeenAsTheChainSeesThem) {
    const QByteArray plain(64, 'a');
    for (int flags = 0; flags < 256; ++flags) {
        for (const QByteArray& extra : {someExtra, longExtra}) {
            const QByteArray stream = gzipMember(plain, flags, extra);
            const Outcome given = decodedByTheChain(CompressionType::GZip, stream, 32);
            const Outcome out = decoded(CompressionType::GZip, stream, 32);
            EXPECT_EQ(out.thrown, given.thrown) << flags << " " << extra.size();
            EXPECT_EQ(out.samples, given.samples) << flags;
        }
    }
}

// The filter of the stream library takes such a field for one without end.
TEST(GzipFrames, AnExtraFieldMayBeEmpty) {
    const QByteArray plain = noise(64);
    for (int flags = 0; flags < 32; ++flags) {
        const QByteArray member = gzipMember(plain, flags | 4, emptyExtra);
        const Outcome out = decoded(CompressionType::GZip, member, 32);
        EXPECT_EQ(out.thrown, "") << flags;
        EXPECT_EQ(out.samples, samplesOf(plain, 32)) << flags;
        EXPECT_EQ(decodedSize(CompressionType::GZip, member.constData(),
                              static_cast<size_t>(member.size()), 64),
                  uint64_t{64});
    }
}

TEST(GzipFrames, AnExtraFieldMayBeEmptyInEachMember) {
    const QByteArray plain = noise(64);
    const QByteArray members = gzipMember(plain.left(20), 4, emptyExtra) +
                               gzipMember(plain.mid(20, 0), 4 | 8, emptyExtra) +
                               gzipMember(plain.mid(20), 4 | 2, emptyExtra);
    EXPECT_EQ(decoded(CompressionType::GZip, members, 32).samples, samplesOf(plain, 32));
}

TEST(GzipFrames, HeadersThatAreCutShortFail) {
    const QByteArray whole = gzipMember(noise(64), 31, someExtra);
    for (qsizetype length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(decoded(CompressionType::GZip, whole.left(length), 32).thrown, "gzip_error");
        // Behind a whole member it is the same.
        EXPECT_EQ(decoded(CompressionType::GZip, whole + whole.left(length), 64).thrown,
                  length == 0 ? "" : "gzip_error");
    }
}

// --- sizes -----------------------------------------------------------------------------------

TEST(PlausibleSize, IsWhatTheFormatsCanReach) {
    EXPECT_EQ(plausibleDecodedSize(CompressionType::ZLib, 10), 11000U);
    EXPECT_EQ(plausibleDecodedSize(CompressionType::GZip, 10), 11000U);
    EXPECT_EQ(plausibleDecodedSize(CompressionType::BZip2, 10), 15000000U);
    EXPECT_EQ(plausibleDecodedSize(CompressionType::BZip2, 0xffffffff), 0xffffffffU * 1500000ULL);
}

TEST(PlausibleSize, IncludesBlackFramesOfDeflate) {
    const qsizetype large = 32 << 20;
    for (const auto type : {CompressionType::ZLib, CompressionType::GZip}) {
        const QByteArray black = compressed(type, QByteArray(large, '\0'));
        EXPECT_GE(plausibleDecodedSize(type, static_cast<uint64_t>(black.size())),
                  static_cast<uint64_t>(large));
    }
}

TEST(PlausibleSize, IncludesUniformFramesOfBzip2) {
    // As much as two of its blocks take.
    const qsizetype large = 90 << 20;
    const QByteArray uniform = bzipped(QByteArray(large, '\xff'));
    EXPECT_GE(plausibleDecodedSize(CompressionType::BZip2, static_cast<uint64_t>(uniform.size())),
              static_cast<uint64_t>(large));
}

TEST_P(Codec, BlackFramesArePlausible) {
    const qsizetype large = 1 << 20;
    const QByteArray black = stream(QByteArray(large, '\0'));
    EXPECT_GE(plausibleDecodedSize(GetParam(), static_cast<uint64_t>(black.size())),
              static_cast<uint64_t>(large));
}

TEST_P(Codec, CountsWhatAStreamIsWorth) {
    const auto sizeOf = [&](const QByteArray& payload, uint64_t limit) {
        return decodedSize(GetParam(), payload.constData(), static_cast<size_t>(payload.size()),
                           limit);
    };
    EXPECT_EQ(sizeOf(stream(noise(size)), size), uint64_t{size});
    EXPECT_EQ(sizeOf(stream(""), 0), uint64_t{0});
    EXPECT_EQ(sizeOf(stream(noise(size)), size - 1), std::nullopt);
    EXPECT_EQ(sizeOf(stream(noise(size)).chopped(6), size), std::nullopt);
    EXPECT_EQ(sizeOf("no stream", size), std::nullopt);
}

// --- encoding --------------------------------------------------------------------------------

namespace {

struct Effort {
    CompressionType::e type;
    CompressionEffort::e effort;
};

std::vector<Effort> allEfforts() {
    std::vector<Effort> efforts;
    for (const CompressionType::e type : streamTypes())
        for (const auto effort : {CompressionEffort::Standard, CompressionEffort::Fast})
            efforts.push_back({type, effort});
    return efforts;
}

class Encoder : public testing::TestWithParam<Effort> {
protected:
    QByteArray encoded(const QByteArray& plain) {
        const size_t length = encoder.encode(GetParam().type, GetParam().effort, plain.constData(),
                                             static_cast<size_t>(plain.size()));
        return {encoder.stream(), static_cast<qsizetype>(length)};
    }

    FrameEncoder encoder;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, Encoder, testing::ValuesIn(allEfforts()), [](const auto& effort) {
    return std::string(attributeOf(effort.param.type)) +
           (effort.param.effort == CompressionEffort::Fast ? "_fast" : "");
});

TEST_P(Encoder, MakesStreamsThatEverybodyReads) {
    for (const qsizetype size : {1000, 100000, 2000}) {
        const QByteArray stream = encoded(noise(size));
        EXPECT_EQ(decompressed(GetParam().type, stream, size + 10), noise(size));
        EXPECT_LT(stream.size(), size);
    }
}

TEST_P(Encoder, MakesAStreamOfAnOddNumberOfBytes) {
    EXPECT_EQ(decompressed(GetParam().type, encoded(noise(1001)), 2000), noise(1001));
}

TEST_P(Encoder, AStreamThatIsLongerThanTheBufferFails) {
    EXPECT_THROW(encoded("xy"), std::ios_base::failure);
    EXPECT_THROW(encoded(""), std::ios_base::failure);
    EXPECT_EQ(decompressed(GetParam().type, encoded(noise(1000)), 1000), noise(1000));
    // The buffer stays as large as the largest frame made it.
    EXPECT_EQ(decompressed(GetParam().type, encoded("xy"), 10), "xy");
}

TEST_P(Encoder, FramesThatCannotBeCompressedFit) {
    QByteArray random(100000, '\0');
    std::minstd_rand generator(5);
    for (char& byte : random)
        byte = static_cast<char>(generator() >> 8);
    EXPECT_EQ(decompressed(GetParam().type, encoded(random), random.size()), random);
}

TEST(FrameEncoder, StandardStreamsAreThoseOfTheDefaultLevel) {
    FrameEncoder encoder;
    const QByteArray plain = noise(10000);
    for (const auto type : {CompressionType::ZLib, CompressionType::BZip2}) {
        const size_t length =
            encoder.encode(type, CompressionEffort::Standard, plain.constData(), 10000);
        EXPECT_EQ(QByteArray(encoder.stream(), static_cast<qsizetype>(length)),
                  compressed(type, plain));
    }
}

namespace {

/// The filter chain whose streams recordings have always had.
QByteArray encodedByTheChain(CompressionType::e type, int level, const QByteArray& plain) {
    std::string out;
    io::filtering_ostreambuf chain;
    switch (type) {
        case CompressionType::None:
            ADD_FAILURE() << "no compression";
            break;
        case CompressionType::ZLib:
            chain.push(io::zlib_compressor(level, 4096), 65536);
            break;
        case CompressionType::GZip:
            chain.push(io::gzip_compressor(level, 4096), 65536);
            break;
        case CompressionType::BZip2:
            chain.push(io::bzip2_compressor(io::bzip2_params(9, 30), 4096), 65536);
            break;
    }
    chain.push(io::back_inserter(out), 65536);
    io::copy(io::array_source(plain.constData(), static_cast<size_t>(plain.size())), chain, 4096);
    return QByteArray::fromStdString(out);
}

}  // namespace

TEST_P(Encoder, MakesTheBytesOfTheChain) {
    const bool isFast = GetParam().effort == CompressionEffort::Fast;
    if (isFast && isFastDeflateBuiltIn && GetParam().type != CompressionType::BZip2)
        GTEST_SKIP() << "libdeflate makes these streams";
    const int level = isFast ? io::zlib::best_speed : io::zlib::default_compression;
    encoded(QByteArray(300000, 'x'));  // there is room for all of them
    for (const qsizetype size : {0, 1, 2, 4095, 4096, 4097, 65535, 65536, 65537, 131072, 200001}) {
        for (const QByteArray& plain :
             {noise(size), QByteArray(size, 'a'), noise(99).repeated(size / 99 + 1)}) {
            EXPECT_EQ(encoded(plain), encodedByTheChain(GetParam().type, level, plain)) << size;
        }
    }
}

TEST(FrameEncoder, NeverPassesAFrameOnAsItIs) {
    const QByteArray plain = noise(1000);
    for (const int number : {0, -1, static_cast<int>(compressions.size())}) {
        const auto type = static_cast<CompressionType::e>(number);
        EXPECT_THROW(FrameEncoder().encode(type, CompressionEffort::Fast, plain.constData(), 1000),
                     std::logic_error);
        SampleBuffer samples(500);
        EXPECT_THROW(FrameDecoder().decode(type, plain.constData(), 1000, samples),
                     std::logic_error);
    }
}
