// A test of the tests: each row of the damage tables is seen where the library reads it, so that no
// row damages what nobody looks at.

#include <libDataIO/chunkheader.h>
#include <libDataIO/chunkinfo.h>
#include <libDataIO/filereader.h>

#include <gtest/gtest.h>

#include <tests/support/attributetext.h>
#include <tests/support/damages.h>
#include <tests/support/logcapture.h>
#include <tests/support/savedindex.h>
#include <tests/support/scratchfile.h>
#include <tests/support/thoroughreading.h>

using namespace mz;
using namespace mz::test;

namespace {

/// What the library reads as a header; type and size 0 when it is none.
template <class Header>
Header headerAt(const QByteArray& movie, qsizetype offset) {
    const ScratchFile file(movie);
    const int fd = file.open();
    Header header;
    try {
        header.loadFD(fd, offset);
    } catch (const IOFileException&) {
        header = Header();
    }
    ::close(fd);
    return header;
}

/// The payload of the chunk at `offset`, as the library reads it.
QByteArray payloadAt(const QByteArray& movie, const MovieChunk& chunk) {
    const ScratchFile file(movie);
    FileReader reader;
    reader.openFile(file.path());
    reader.seek(static_cast<qint64>(chunk.offset));
    if (!reader.nextChunk(chunk.type)) return {};
    return {static_cast<const char*>(reader.data()), static_cast<qsizetype>(reader.chunkSize())};
}

QByteArray infoPayload(const QByteArray& movie) {
    const InfoPlaces info(movie);
    return movie.mid(info.count, info.end - info.count);
}

/// What the library takes from the info chunk of a good movie's length and places.
ChunkInfo infoIn(const QByteArray& movie) {
    ChunkInfo info;
    load(info, infoPayload(movie));
    return info;
}

class DamageArrival : public testing::TestWithParam<GoodMovie> {
protected:
    DamageArrival() : good(GetParam().bytes()), places(good) {}

    /// Of a movie whose info chunk is where the good one's is.
    ChunkInfo damagedInfo(const QByteArray& damaged) const {
        ChunkInfo info;
        load(info, damaged.mid(places.count, places.end - places.count));
        return info;
    }

    LogCapture silent{LogLevel::Error};
    QByteArray good;
    InfoPlaces places;
};

TEST_P(DamageArrival, OfEachByteOfTheFraming) {
    const Movie sound = parseMovie(good);
    const std::vector<Flip> flips = framingFlips(good);
    EXPECT_EQ(flips.size(), sound.chunks.size() * 32 * 3);
    for (const Flip& flip : flips) {
        SCOPED_TRACE(flip);
        const QByteArray damaged = flip.of(good);
        const auto chunk = std::find_if(sound.chunks.begin(), sound.chunks.end(),
                                        [&](const MovieChunk& c) { return flip.at < c.end(); });
        const auto isAsItWas = [&](const ChunkHeaderBase& header) {
            return header.type() == chunk->type && header.size() == chunk->size;
        };
        const bool inStart = flip.at < static_cast<qsizetype>(chunk->offset) + 16;
        EXPECT_NE(
            isAsItWas(headerAt<ChunkStartHeader>(damaged, static_cast<qsizetype>(chunk->offset))),
            inStart);
        EXPECT_EQ(isAsItWas(headerAt<ChunkEndHeader>(damaged, chunk->end() - 16)), inStart);
        EXPECT_FALSE(parseMovie(damaged).problems.empty());
    }
}

TEST_P(DamageArrival, OfEachByteOfTheIndex) {
    ChunkInfo info = infoIn(good);
    ChunkIndex& before = info;
    const std::vector<Flip> flips = indexFlips(good);
    EXPECT_EQ(flips.size(), parseMovie(good).index.size() * 12 * 4);
    for (const Flip& flip : flips) {
        SCOPED_TRACE(flip);
        ChunkInfo damaged = damagedInfo(flip.of(good));
        EXPECT_NE(saved(static_cast<ChunkIndex&>(damaged)), saved(before));
        EXPECT_EQ(dumped(damaged), dumped(info)) << "not in the index";
    }
}

TEST_P(DamageArrival, OfEachByteOfTheAttributes) {
    const std::string before = dumped(infoIn(good));
    const std::vector<Flip> flips = attributeFlips(good);
    EXPECT_EQ(flips.size(), static_cast<size_t>(GetParam().text.size()) * 3);
    for (const Flip& flip : flips) {
        SCOPED_TRACE(flip);
        // The last line's end may become a blank, which is no part of the value.
        if (flip.at == places.end - 1 && flip.bits == 0x01) continue;
        EXPECT_NE(dumped(damagedInfo(flip.of(good))), before);
    }
}

TEST_P(DamageArrival, OfEachByteOfThePayloads) {
    const Movie sound = parseMovie(good);
    const bool isStored = sound.attribute("compression_type").isNull();
    const Findings before = readThoroughly(ScratchFile(good).path());
    for (const Flip& flip : payloadFlips(good)) {
        SCOPED_TRACE(flip);
        const auto chunk = std::find_if(sound.chunks.begin(), sound.chunks.end(),
                                        [&](const MovieChunk& c) { return flip.at < c.end(); });
        const QByteArray damaged = payloadAt(flip.of(good), *chunk);
        const auto at = flip.at - static_cast<qsizetype>(chunk->offset) - 16;
        ASSERT_EQ(damaged.size(), chunk->payload.size());
        EXPECT_EQ(damaged[at] ^ chunk->payload[at], flip.bits);
        // Of a stream some bytes say nothing about the samples, of a position the last are lost.
        if (chunk->type == MovieBytes::FiberCenter || !isStored) continue;
        const ScratchFile file(flip.of(good));
        EXPECT_NE(readThoroughly(file.path()).told.str(), before.told.str());
    }
}

TEST_P(DamageArrival, OfEachSizeInTheFraming) {
    for (const FramingSize& row : framingSizes(good)) {
        SCOPED_TRACE(row);
        const QByteArray damaged = row.of(good);
        const auto start = static_cast<qsizetype>(row.chunk.offset);
        EXPECT_EQ(headerAt<ChunkStartHeader>(damaged, start).size(),
                  row.inStart ? row.size : row.chunk.size);
        EXPECT_EQ(headerAt<ChunkEndHeader>(damaged, row.chunk.end() - 16).size(),
                  row.inEnd ? row.size : row.chunk.size);
        EXPECT_NE(damaged, good);
    }
}

/// The bytes that an index of so many records takes, if it is believed.
std::optional<int> sizeOfIndex(const QByteArray& payload) {
    ChunkIndex index;
    try {
        return load(index, payload);
    } catch (const IOFileException&) {
        return std::nullopt;
    }
}

TEST_P(DamageArrival, OfEachNumberInTheIndex) {
    const std::vector<MovieRecord> index = parseMovie(good).index;
    for (const IndexNumber& row : indexNumbers(good)) {
        SCOPED_TRACE(row);
        const QByteArray damaged = row.of(good);
        const QByteArray payload = damaged.mid(places.count, places.end - places.count);
        if (row.field == IndexNumber::Count) {
            const qint64 wanted = 4 + 12 * qint64{row.number};
            if (wanted <= payload.size())
                EXPECT_EQ(sizeOfIndex(payload), wanted);
            else
                EXPECT_EQ(sizeOfIndex(payload), std::nullopt);
            continue;
        }
        // Behind those of its type that stand in front of it.
        const uint32_t type = index[static_cast<size_t>(row.record)].type;
        const auto place = std::count_if(index.begin(), index.begin() + row.record,
                                         [&](const MovieRecord& r) { return r.type == type; });
        ChunkInfo info = damagedInfo(damaged);
        const ChunkRecord record = info[static_cast<int>(type)].at(static_cast<size_t>(place));
        EXPECT_EQ(row.field == IndexNumber::Offset ? record.offset : record.length, row.number);
    }
}

TEST_P(DamageArrival, OfEachValueOfAnAttribute) {
    const ChunkInfo before = infoIn(good);
    for (const AttributeValue& row : attributeValues(GetParam())) {
        SCOPED_TRACE(row);
        const ChunkInfo info = infoIn(GetParam().with(row.key, row.value));
        EXPECT_EQ(valueOf(info, row.key).toLatin1(), row.value);
        EXPECT_NE(valueOf(info, row.key), valueOf(before, row.key));
    }
}

TEST_P(DamageArrival, OfEachLargeSize) {
    for (const LargeImage& row : largeImages()) {
        const ChunkInfo info = infoIn(sized(GetParam(), row.width, row.height));
        EXPECT_EQ(valueOf(info, "width").toLatin1(), row.width);
        EXPECT_EQ(valueOf(info, "height").toLatin1(), row.height);
    }
}

INSTANTIATE_TEST_SUITE_P(Movies, DamageArrival, testing::ValuesIn(goodMovies()),
                         [](const auto& movie) { return movie.param.name; });

/// Whether an answer about some movie changes with some value of the attribute.
bool isLookedAt(const QByteArray& key) {
    const LogCapture silent(LogLevel::Error);
    for (const GoodMovie& movie : goodMovies()) {
        const std::string before = readThoroughly(ScratchFile(movie.bytes()).path()).told.str();
        for (const QByteArray& value : damagedValues()) {
            const ScratchFile file(movie.with(key, value));
            if (readThoroughly(file.path()).told.str() != before) return true;
        }
    }
    return false;
}

TEST(DamageArrivalOfKeys, EachIsLookedAtByTheReader) {
    for (const QByteArray& key : damagedKeys)
        EXPECT_TRUE(isLookedAt(key)) << key.constData();
}

TEST(DamageArrivalOfKeys, OneThatExistsNowhereIsNot) {
    for (const char* key : {"pal_nb_nodes", "pal_crop_min_int", "Width"})
        EXPECT_FALSE(isLookedAt(key)) << key;
}

}  // namespace
