// Every allocation that the tools make fails once. They say so with std::bad_alloc, no input is
// harmed, nothing is salvaged by halves, and the same call made again does what it would have done.

#include <libDataIO/imageutilities.h>
#include <libDataIO/rsqcompressutil.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include <tests/support/allocationlayer.h>
#include <tests/support/compressions.h>
#include <tests/support/damagedfiles.h>
#include <tests/support/limits.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

// --- copies ---

struct Direction {
    std::string name;
    QByteArray input;
    CompressionType::e compression;
    RSQCompress::Vectorization vectorization;
};

std::ostream& operator<<(std::ostream& out, const Direction& direction) {
    return out << direction.name;
}

QByteArray compressedImages(CompressionType::e type) {
    MovieBytes movie = withHeader();
    movie.attribute("compression_type", attributeOf(type));
    for (int i = 0; i < 3; ++i)
        movie.frame(compressed(type, numberedFrame(i, moviePixels)));
    return addFibers(movie).times({1, 2, 3, 4, 5, 6}).laserPowers("\x01\x80\xff").bytes();
}

QByteArray vectorizedMovie() {
    MovieBytes movie = withHeader();
    movie.attribute("data_type", "vec");
    for (int i = 0; i < 3; ++i)
        movie.frame(numberedFrame(i, movieFibers));
    return addFibers(movie).bytes();
}

std::vector<Direction> directions() {
    const auto same = RSQCompress::SameAsInput;
    return {
        {"RawToRaw", images(3).bytes(), none, same},
        {"RawToZLib", images(3).bytes(), zlib, same},
        {"RawToVectorized", images(3).bytes(), none, RSQCompress::VectorizeIfPossible},
        {"ZLibToGZip", compressedImages(zlib), gzip, same},
        {"GZipToBZip2", compressedImages(gzip), bzip2, same},
        {"BZip2ToRaw", compressedImages(bzip2), none, same},
        {"VectorizedToImages", vectorizedMovie(), gzip, RSQCompress::NoVectorization},
    };
}

class CopyMemory : public testing::TestWithParam<Direction> {
protected:
    CopyMemory() : input(GetParam().input) {}

    void copy() const {
        RSQCompress::compressFileImpl(input.path(), output(), GetParam().compression,
                                      GetParam().vectorization, -1, -1, nullptr,
                                      repeatingService());
    }
    QString output() const { return input.sibling("output"); }

    ScratchFile input;
};

// --- salvage ---

struct Damage {
    std::string name;
    RecordingKind kind;
    QByteArray tail;  ///< behind the frames, in the place of lists and index
    bool hasDamagedFrame = false;
};

std::ostream& operator<<(std::ostream& out, const Damage& damage) {
    return out << damage.name;
}

std::vector<Damage> damages() {
    RecordingKind vectorized;
    vectorized.isVectorized = true;
    RecordingKind only = vectorized;  // of one frame, which tells the kind of the movie
    only.compression = gzip;
    only.frames = 1;
    const QByteArray torn = startHeader(2, 100) + "the beginning of a frame";
    return {
        {"Raw", {none}, {}},
        {"TornRaw", {none}, torn},
        {"ZLib", {zlib}, torn},
        {"GZip", {gzip}, {}},
        {"BZip2", {bzip2}, torn},
        {"Vectorized", vectorized, {}},
        {"OneVectorizedGZip", only, {}},
        {"DamagedGZip", {gzip}, {}, true},
    };
}

class SalvageMemory : public DamagedFiles, public testing::WithParamInterface<Damage> {
protected:
    void SetUp() override {
        recordGood(GetParam().kind);
        attributes.erase(QStringLiteral("data_type"));
        file = bytes.left(frameChunk(kind.frames - 1).end()) + GetParam().tail;
        if (GetParam().hasDamagedFrame) {
            const auto inFrame = static_cast<qsizetype>(frameChunk(1).offset) + 16 + 20;
            file[inFrame] = static_cast<char>(file[inFrame] ^ 0x55);
        }
    }

    void begin() const {
        writeAnew(damaged(), file);
        QFile::remove(output());
    }

    unsigned int wholeFrames() const {
        return static_cast<unsigned int>(kind.frames - (GetParam().hasDamagedFrame ? 1 : 0));
    }

    QByteArray file;
};

class SalvageOfLargeFrames : public DamagedFiles {};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Directions, CopyMemory, testing::ValuesIn(directions()),
                         [](const auto& direction) { return direction.param.name; });
INSTANTIATE_TEST_SUITE_P(Files, SalvageMemory, testing::ValuesIn(damages()),
                         [](const auto& damage) { return damage.param.name; });

TEST_P(CopyMemory, TheSameCallAgainMakesTheSameCopy) {
    copy();
    const QByteArray expected = readFile(output());
    EXPECT_EQ(soundMovie(output()).frames.size(), 3U);
    const int failed = forEachAllocation([&](FailingAllocation& failing) {
        QFile::remove(output());
        if (runsOutOfMemory(failing, [&] { copy(); })) {
            EXPECT_EQ(input.bytes(), GetParam().input);
            EXPECT_TRUE(!QFile::exists(output()) ||
                        parseMovie(readFile(output())).problems.empty());
            copy();
        }
        EXPECT_EQ(readFile(output()), expected);
    });
    EXPECT_GT(failed, 20);
}

TEST_P(SalvageMemory, InPlaceNothingIsChanged) {
    begin();
    EXPECT_EQ(salvageInPlace().framesKept, wholeFrames());
    const QByteArray expected = readFile(damaged());
    const int failed = forEachLack([&](FailingAllocation& failing) {
        begin();
        if (runsOutOfMemory(failing, [&] { salvageInPlace(); })) {
            EXPECT_EQ(readFile(damaged()), file);
            salvageInPlace();
        }
        EXPECT_EQ(readFile(damaged()), expected);
    });
    EXPECT_GT(failed, 20);
}

TEST_P(SalvageMemory, ACopyIsNotLeftByHalves) {
    begin();
    EXPECT_EQ(salvageToOutput().framesKept, wholeFrames());
    const QByteArray expected = readFile(output());
    const int failed = forEachAllocation([&](FailingAllocation& failing) {
        begin();
        if (runsOutOfMemory(failing, [&] { salvageToOutput(); })) {
            EXPECT_EQ(readFile(damaged()), file);
            EXPECT_FALSE(QFile::exists(output()));
            salvageToOutput();
        }
        EXPECT_EQ(readFile(output()), expected);
    });
    EXPECT_GT(failed, 20);
}

TEST_F(SalvageOfLargeFrames, DropsNoneWhenMemoryRunsOut) {
    DATAIO_SKIP_IF_SANITIZED();
    kind.compression = bzip2;
    kind.width = 2049;
    kind.height = 4096;
    const QByteArray frame(2 * kind.width * kind.height, '\1');
    ImageWriter writer;
    writer.create(good(), false);
    setHeader(writer, kind);
    for (int i = 0; i < 2; ++i)
        writer.addFrame(frame.constData(), static_cast<int>(frame.size()), powerOfFrame(i));
    writer.close();
    attributes = ImageUtilities::attributesOf(good());
    const Movie whole = soundMovie(good());
    const QByteArray killed =
        readFile(good()).left(static_cast<qsizetype>(whole.chunks.back().offset));

    const int failed = forEachAllocation(
        [&](FailingAllocation& failing) {
            writeAnew(damaged(), killed);
            if (runsOutOfMemory(failing, [&] { salvageInPlace(); })) {
                EXPECT_EQ(readFile(damaged()), killed);
                salvageInPlace();
            }
            EXPECT_EQ(soundMovie(damaged()).frames.size(), 2U);
        },
        {static_cast<size_t>(frame.size())});
    EXPECT_GT(failed, 0);
}
