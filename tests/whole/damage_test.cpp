#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <string>

#include <tests/support/childprocess.h>
#include <tests/support/goodmovies.h>
#include <tests/support/limits.h>
#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/processmemory.h>
#include <tests/support/scratchfile.h>
#include <tests/support/thoroughreading.h>

using namespace mz;
using namespace mz::test;

// Movies of every kind with every kind of damage: each is read and changed in every way, and gives
// a documented exception, nothing, or a right answer, in little time and little memory.

namespace {

constexpr double mostSeconds = 2;

class Damage : public testing::TestWithParam<GoodMovie> {
protected:
    void SetUp() override {
        good = GetParam().bytes();
        writeFile(file.path(), good);
        const Findings findings = readThoroughly(file.path());
        ASSERT_TRUE(findings.opened);
        ASSERT_EQ(findings.rawFrames.size(), GetParam().frames);
        goodFrames = findings.rawFrames;
        infoBegin = static_cast<qsizetype>(parseMovie(good).chunks.back().offset);
        textBegin = good.indexOf(GetParam().text.left(10));
    }

    /// Opens, reads and changes a damaged file.
    Findings meet(QByteArray const& damaged) {
        // A new file each time: some file systems write one that is emptied to the disk at once.
        QFile::remove(file.path());
        writeFile(file.path(), damaged);
        const std::clock_t begin = std::clock();
        const Findings findings = readThoroughly(file.path());
        EXPECT_EQ(readFile(file.path()), damaged) << "reading has changed the file";
        change(damaged);
        EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, mostSeconds);
        return findings;
    }

    void change(QByteArray const& damaged) {
        const QByteArray frame(1 << 16, 'x');
        ImageWriter writer;
        if (!succeeds([&] { writer.modify(file.path()); })) {
            EXPECT_FALSE(writer.isOpen());
            EXPECT_EQ(readFile(file.path()), damaged) << "what failed has changed the file";
            return;
        }
        succeeds([&] { writer.replaceFrame(frame.constData(), 0, 0.5F); });
        succeeds([&] { writer.addFrameAtEnd(frame.constData(), 24); });
        succeeds([&] { writer.setFirstFrame(1); });
        if (!succeeds([&] { writer.close(); })) {
            // Fibres without the size of an image: the caller can set one, or do without fibres.
            writer.addRasterFiberContinuousIndexes({});
            writer.close();
        }
        ImageReader reader;
        const bool opens = succeeds([&] { reader.open(file.path()); });
        EXPECT_TRUE(opens ||
                    writer.attributeChunk().attributes().count(QStringLiteral("data_type")) == 1);
    }

    /// A frame that is read is one that was recorded: nothing but the framing and the index is
    /// damaged.
    void expectRecordedFrames(Findings const& findings) const {
        for (QByteArray const& frame : findings.rawFrames) {
            EXPECT_NE(std::find(goodFrames.begin(), goodFrames.end(), frame), goodFrames.end());
        }
    }

    QByteArray with32(QByteArray bytes, qsizetype at, QByteArray const& word) const {
        return bytes.replace(at, 4, word);
    }

    LogCapture silent{LogLevel::Error};
    ScratchFile file;
    QByteArray good;
    std::vector<QByteArray> goodFrames;
    qsizetype infoBegin = 0;
    qsizetype textBegin = 0;
};

TEST_P(Damage, AMovieThatIsCutAnywhereDoesNotOpen) {
    for (qsizetype length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_FALSE(meet(good.left(length)).opened);
    }
}

TEST_P(Damage, BytesBehindTheMovieHideIt) {
    for (int count : {1, 15, 16, 31, 32, 100})
        EXPECT_FALSE(meet(good + QByteArray(count, '\n')).opened);
}

TEST_P(Damage, EveryByteOfTheFramingMayBeFlipped) {
    for (MovieChunk const& chunk : parseMovie(good).chunks) {
        const auto begin = static_cast<qsizetype>(chunk.offset);
        const qsizetype end = begin + 16 + chunk.size;
        for (qsizetype i = 0; i < 32; ++i) {
            const qsizetype at = i < 16 ? begin + i : end + i - 16;
            for (int flip : {0x01, 0x80, 0xff}) {
                SCOPED_TRACE(testing::Message() << "byte " << at << " flip " << flip);
                QByteArray damaged = good;
                damaged[at] = static_cast<char>(damaged[at] ^ flip);
                const Findings findings = meet(damaged);
                // A start header is believed about the size of its chunk.
                if (i < 10 || i > 13) expectRecordedFrames(findings);
            }
        }
    }
}

TEST_P(Damage, EveryByteOfTheIndexMayBeFlipped) {
    // The count aside: with it the attributes begin elsewhere.
    for (qsizetype at = infoBegin + 20; at < textBegin; ++at) {
        for (int flip : {0x01, 0x10, 0x80, 0xff}) {
            SCOPED_TRACE(testing::Message() << "byte " << at << " flip " << flip);
            QByteArray damaged = good;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            expectRecordedFrames(meet(damaged));
        }
    }
}

TEST_P(Damage, EveryByteOfTheAttributesMayBeFlipped) {
    for (qsizetype at = textBegin; at < good.size() - 16; ++at) {
        for (int flip : {0x01, 0x08, 0x80}) {
            SCOPED_TRACE(testing::Message() << "byte " << at << " flip " << flip);
            QByteArray damaged = good;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            meet(damaged);
        }
    }
}

TEST_P(Damage, EveryByteOfThePayloadsMayBeFlipped) {
    for (MovieChunk const& chunk : parseMovie(good).chunks) {
        if (chunk.type == MZ_CT_INFO) continue;
        for (unsigned int i = 0; i < chunk.size; ++i) {
            SCOPED_TRACE(testing::Message() << "byte " << i << " of chunk at " << chunk.offset);
            QByteArray damaged = good;
            const auto at = static_cast<qsizetype>(chunk.offset + 16 + i);
            damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
            EXPECT_TRUE(meet(damaged).opened);
        }
    }
}

TEST_P(Damage, SizesInTheFramingMayBeAnything) {
    for (MovieChunk const& chunk : parseMovie(good).chunks) {
        const auto startSize = static_cast<qsizetype>(chunk.offset) + 10;
        const qsizetype endSize = startSize + 16 + chunk.size;
        for (uint32_t size : {0u, 1u, chunk.size - 1, chunk.size + 1, chunk.size + 32, 0x7fffffffu,
                              0x80000000u, 0xffffffe0u, 0xffffffffu}) {
            SCOPED_TRACE(testing::Message() << "chunk at " << chunk.offset << " size " << size);
            const QByteArray startOnly = with32(good, startSize, be32(size));
            meet(startOnly);
            meet(with32(good, endSize, be32(size)));
            meet(with32(startOnly, endSize, be32(size)));
        }
    }
}

TEST_P(Damage, CountAndOffsetsOfTheIndexMayBeAnything) {
    const qsizetype count = infoBegin + 16;
    for (uint32_t number : {0u, 1u, 2u, 1000u, 0x15555555u, 0x15555556u, 0x55555555u, 0x55555556u,
                            0x7fffffffu, 0x80000000u, 0xfffffffeu, 0xffffffffu})
        meet(with32(good, count, le32(number)));
    const auto size = static_cast<uint32_t>(good.size());
    for (qsizetype offset = count + 8; offset < textBegin; offset += 12) {
        for (uint32_t place : {0u, 1u, size - 33, size - 32, size - 16, size - 1, size, 0x7fffffffu,
                               0x80000000u, 0xfffffff0u, 0xffffffffu}) {
            SCOPED_TRACE(testing::Message() << "record at " << offset << " to " << place);
            expectRecordedFrames(meet(with32(good, offset, le32(place))));
            meet(with32(good, offset + 4, le32(place)));
        }
    }
}

TEST_P(Damage, AttributesMaySayAnything) {
    const QByteArray values[] = {"-1",         "0",          "1",           "2",          "5",
                                 "17",         "32",         "896",         "65535",      "65536",
                                 "2147483647", "2147483648", "-2147483648", "4294967296", "1e40",
                                 "nan",        "-inf",       "vec",         "gz",         "bz2"};
    for (const char* key :
         {"width", "height", "pixbits", "pixtype", "endian", "datadimension", "data_type",
          "compression_type", "bbox_max_x", "bbox_min_y", "fovx", "mask_level", "frame_timer",
          "frame_timer_n0_usec", "pal_nb_nodes", "pal_crop_min_int", "utc_offset_seconds"}) {
        for (QByteArray const& value : values) {
            SCOPED_TRACE(testing::Message() << key << "=" << value.constData());
            meet(GetParam().with(key, value));
        }
    }
}

TEST_P(Damage, AnImageMayBeAsLargeAsItLikes) {
    for (const char* width : {"2048", "2897", "65536", "2147483647"}) {
        GoodMovie wide = GetParam();
        for (const char* height : {"2048", "2896", "65536", "2147483647"}) {
            wide.text = GetParam().text;
            wide.text.replace("width=4", QByteArray("width=") + width);
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            meet(wide.with("height", height));
        }
    }
}

/// A reader believes frame sizes up to 16 MiB and keeps at most four buffers of that size: decoded,
/// on the way there, swapped or reconstructed, and what the fibres are copied to. Everything else
/// is in proportion to the file.
constexpr int64_t mostMemory = int64_t{4} * (16 << 20);

TEST_P(Damage, MemoryIsBounded) {
    DATAIO_SKIP_IF_SANITIZED();
    inChild([&] {
        // What is mapped and free before counts as well: begin at the peak.
        const int64_t before = processMemory("VmPeak");
        for (const char* size : {"2896", "4096", "30000", "2147483647"}) {
            for (const char* key : {"width", "height"}) {
                meet(GetParam().with(key, size));
            }
            GoodMovie large = GetParam();
            large.text.replace("width=4", QByteArray("width=") + size);
            meet(large.with("height", size));
        }
        for (uint32_t number : {0x7fffffffu, 0x55555556u}) {
            meet(with32(good, infoBegin + 16, le32(number)));
        }
        EXPECT_LE(processMemory("VmPeak") - before, mostMemory);
    });
}

TEST_P(Damage, AFrameOfTheSizeThatIsBelievedIsReadInThatMemory) {
    DATAIO_SKIP_IF_SANITIZED();
    inChild([&] {
        const AddressSpaceLimit limit(static_cast<rlim_t>(mostMemory));
        GoodMovie large = GetParam();
        large.text.replace("width=4", "width=2896");
        const Findings findings = meet(large.with("height", "2896"));
        EXPECT_TRUE(findings.opened);
        EXPECT_EQ(findings.readableFrames, GetParam().frames);
    });
}

INSTANTIATE_TEST_SUITE_P(Movies, Damage, testing::ValuesIn(goodMovies()),
                         [](auto const& movie) { return movie.param.name; });

}  // namespace
