// When frames become samples of fibres, when they become images, and what can go wrong then.

#include <gtest/gtest.h>

#include <functional>

#include <tests/support/compressions.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

/// What the frames of the output are.
enum class Kind { AsStored, Sampled, Reconstructed };

struct Decision {
    const char* name;
    std::function<void(MovieBytes&)> prepare;  ///< header and what else comes before the frames
    RSQCompress::Vectorization wanted;
    Kind kind;
    const char* dataType;
    bool isVectorizedInput = false;
    int fibers = movieFibers;
    int width = movieWidth;
    int height = movieHeight;
    MZImagePixelType type = MZ_USHORT;
};

std::ostream& operator<<(std::ostream& out, const Decision& decision) {
    return out << decision.name;
}

std::function<void(MovieBytes&)> with(std::vector<std::pair<const char*, QByteArray>> attributes) {
    return [attributes](MovieBytes& movie) {
        for (const auto& [key, value] : attributes)
            movie.attribute(key, value);
    };
}

constexpr auto images0 = RSQCompress::NoVectorization;
constexpr auto vectors = RSQCompress::VectorizeIfPossible;
constexpr auto same = RSQCompress::SameAsInput;

class VectorizationDecision : public Compression, public testing::WithParamInterface<Decision> {};

TEST_P(VectorizationDecision, IsTakenByWhatTheMovieIs) {
    const Decision& d = GetParam();
    MovieBytes movie;
    movie.size(d.width, d.height).attribute("pixtype", d.type).endian(Order::Little);
    d.prepare(movie);
    const int pixels = d.width * d.height;
    const int pixelBytes = GetPixBits(d.type) / 8;
    const QByteArray stored =
        d.isVectorizedInput
            ? numberedFrame(1, d.fibers)
            : numberedFrame(1, (pixels * pixelBytes + 1) / 2).left(pixels * pixelBytes);
    movie.frame(stored);
    QByteArray words;
    QByteArray sampled;
    for (int i = 0; i < d.fibers; ++i) {
        const int pixel = i % pixels;
        words +=
            le32(fraction(pixel % d.width, d.width)) + le32(fraction(pixel / d.width, d.height));
        sampled += le16(static_cast<uint16_t>(1000 + pixel));
    }
    if (d.fibers > 0) movie.chunk(MovieBytes::FiberCenter, words);
    put(movie);

    const Movie made = compressed(d.wanted);
    EXPECT_EQ(made.attribute("data_type").toStdString(), d.dataType);
    ASSERT_EQ(made.frames.size(), 1U);
    EXPECT_EQ(made.fiberWords.size(), static_cast<size_t>(2 * d.fibers));
    switch (d.kind) {
        case Kind::AsStored:
            EXPECT_EQ(made.frames[0], stored);
            break;
        case Kind::Sampled:
            EXPECT_EQ(made.frames[0], sampled);
            break;
        case Kind::Reconstructed: {
            QByteArray image;
            for (int i = 0; i < pixels; ++i)
                image += le16(static_cast<uint16_t>(d.fibers > 0 ? 1001 + i % d.fibers : 0));
            EXPECT_EQ(made.frames[0], image.left(pixels * pixelBytes));
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Images, VectorizationDecision,
    testing::Values(
        Decision{"sampled", with({}), vectors, Kind::Sampled, "vec"},
        Decision{"signed", with({}), vectors, Kind::Sampled, "vec", false, 8, 16, 8, MZ_SHORT},
        Decision{"as images", with({{"data_type", "imp"}}), images0, Kind::AsStored, "imp"},
        Decision{"as they are", with({{"data_type", "imp"}}), same, Kind::AsStored, "imp"},
        Decision{"type not given", with({}), same, Kind::AsStored, "imp"},
        Decision{"type of its own", with({{"data_type", "abc"}}), vectors, Kind::Sampled, "vec"},
        Decision{"8 bits", with({}), vectors, Kind::AsStored, "imp", false, 8, 16, 8, MZ_UCHAR},
        Decision{"8 bits, signed", with({}), vectors, Kind::AsStored, "imp", false, 8, 16, 8,
                 MZ_CHAR},
        Decision{"32 bits", with({}), vectors, Kind::AsStored, "imp", false, 8, 16, 8, MZ_INT},
        Decision{"float", with({}), vectors, Kind::AsStored, "imp", false, 8, 16, 8, MZ_FLOAT},
        Decision{"no fibres", with({}), vectors, Kind::AsStored, "imp", false, 0},
        Decision{"raw", with({{"data_type", "raw"}}), vectors, Kind::AsStored, "raw"},
        Decision{"wide, hence raw", with({}), vectors, Kind::AsStored, "raw", false, 8, 896, 1},
        Decision{"just not wide", with({}), vectors, Kind::Sampled, "vec", false, 8, 895, 1}));

INSTANTIATE_TEST_SUITE_P(
    FieldsOfView, VectorizationDecision,
    testing::Values(Decision{"x wide", with({{"fovx", "800"}, {"fovy", "1"}}), vectors,
                             Kind::AsStored, "imp"},
                    Decision{"y wide", with({{"fovx", "1"}, {"fovy", "700.01"}}), vectors,
                             Kind::AsStored, "imp"},
                    Decision{"just not wide", with({{"fovx", "700"}, {"fovy", "7.000000e+02"}}),
                             vectors, Kind::Sampled, "vec"},
                    Decision{"x alone", with({{"fovx", "800"}}), vectors, Kind::Sampled, "vec"},
                    Decision{"y alone", with({{"fovy", "800"}}), vectors, Kind::Sampled, "vec"},
                    Decision{"no number", with({{"fovx", "wide"}, {"fovy", "800"}}), vectors,
                             Kind::Sampled, "vec"}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, VectorizationDecision,
    testing::Values(
        Decision{"four pixels a fibre", with({}), vectors, Kind::Sampled, "vec", false, 9, 6, 6},
        Decision{"fewer", with({}), vectors, Kind::AsStored, "imp", false, 9, 7, 5},
        Decision{"35,000 fibres", with({}), vectors, Kind::Sampled, "vec", false, 35000, 512, 512},
        Decision{"35,001", with({}), vectors, Kind::AsStored, "imp", false, 35001, 512, 512}));

const auto vec = with({{"data_type", "vec"}});

INSTANTIATE_TEST_SUITE_P(
    Vectorized, VectorizationDecision,
    testing::Values(
        Decision{"as images", vec, images0, Kind::Reconstructed, "imp", true},
        Decision{"as vectors", vec, vectors, Kind::AsStored, "vec", true},
        Decision{"as they are", vec, same, Kind::AsStored, "vec", true},
        Decision{"field too wide", with({{"data_type", "vec"}, {"fovx", "800"}, {"fovy", "1"}}),
                 same, Kind::Reconstructed, "imp", true},
        Decision{"too many fibres for the image", vec, vectors, Kind::Reconstructed, "imp", true, 9,
                 7, 5},
        Decision{"no fibres", vec, same, Kind::Reconstructed, "imp", true, 0},
        Decision{"8 bits", vec, images0, Kind::AsStored, "vec", true, 8, 16, 8, MZ_UCHAR},
        Decision{"8 bits, field too wide",
                 with({{"data_type", "vec"}, {"fovx", "800"}, {"fovy", "1"}}), same,
                 Kind::Reconstructed, "imp", true, 8, 16, 8, MZ_UCHAR}));

using VectorizedCopy = Compression;

TEST_F(VectorizedCopy, SamplesSwappedAndCompressedImagesAlike) {
    QByteArray expected;
    for (int i = 0; i < movieFibers; ++i)
        expected += le16(static_cast<uint16_t>(fiberStep * i));
    QByteArray swapped = numberedFrame(0, moviePixels);
    for (qsizetype i = 0; i + 1 < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    QByteArray swappedWords;
    for (int i = 0; i < movieFibers; ++i)
        swappedWords += be32(fraction(2 * i, movieWidth)) + be32(fraction(i, movieHeight));

    MovieBytes other;
    other.size(movieWidth, movieHeight).attribute("pixtype", MZ_USHORT).endian(Order::Big);
    put(other.frame(swapped).chunk(MovieBytes::FiberCenter, swappedWords));
    EXPECT_EQ(compressed(vectors).frames, (std::vector<QByteArray>{expected}));

    MovieBytes zipped = withHeader();
    zipped.attribute("compression_type", "gz")
        .frame(test::compressed(CompressionType::GZip, numberedFrame(0, moviePixels)));
    put(addFibers(zipped));
    EXPECT_EQ(compressed(vectors).frames, (std::vector<QByteArray>{expected}));
}

TEST_F(VectorizedCopy, KeepsCompressedVectorsAtTheirSize) {
    const QByteArray samples = numberedFrame(3, movieFibers);
    MovieBytes movie = withHeader();
    movie.attribute("data_type", "vec").attribute("compression_type", "z");
    movie.frame(test::compressed(CompressionType::ZLib, samples));
    put(addFibers(movie));
    EXPECT_EQ(compressed().frames, (std::vector<QByteArray>{samples}));
}

TEST_F(VectorizedCopy, StoresTheFibersInsideTheImage) {
    MovieBytes movie = withHeader();
    movie.frame(numberedFrame(0, moviePixels));
    movie.fibers({0xffffffff, 0xffffffff, 0, 0});
    put(movie);
    // The far corner, moved onto the last pixel.
    EXPECT_EQ(compressed(vectors).frames,
              (std::vector<QByteArray>{le16(moviePixels - 1) + le16(0)}));
}

TEST_F(VectorizedCopy, OfImagesThatAreTooShortFails) {
    MovieBytes movie = withHeader();
    movie.frame(numberedFrame(0, moviePixels)).frame(numberedFrame(1, moviePixels).left(255));
    put(addFibers(movie));
    expectFailureAfter(1, invalidCopiedSize(), [&] { compressed(vectors); });
    // As they are, nothing is read beyond their end.
    EXPECT_EQ(compressed(same).frames[1].size(), 255);
}

TEST_F(VectorizedCopy, OfAFiberOutsideTheImageFails) {
    // A row so long that floating point takes its last pixel for the one behind it.
    constexpr int width = 1 << 25;
    const ScratchFile file;
    const qint64 fibersAt = putSparseChunk(file, 0, 2, 2 * width);
    const QByteArray fibers = chunk(6, le32(0xffffffff) + le32(0));
    file.put(fibersAt,
             fibers + chunk(5, le32(2) + indexRecord(2, 0, 2 * width) +
                                   indexRecord(6, static_cast<uint32_t>(fibersAt), 8) +
                                   "data_type=imp\nendian=2\nheight=1\npixtype=5\nwidth=" +
                                   QByteArray::number(width) + '\n'));
    expectFailureAfter(0, invalidCopiedSize(), [&] {
        RSQCompress::compressFile(_inputFilename = file.path(), _outputFilename = out(),
                                  _vectorization = vectors);
    });
}

TEST_F(VectorizedCopy, NeedsAServiceToMakeImages) {
    MovieBytes movie = withHeader();
    movie.attribute("data_type", "vec").frame(numberedFrame(0, movieFibers));
    put(addFibers(movie));
    const Failure failure = {"dataio.imagereader", SOFTWARE, "IR_UNSUPPORTED_FORMAT",
                             "File " + in() +
                                 ": vectorized data unsupported because no reconstruction service "
                                 "provided."};
    expectFailureAfter(0, failure, [&] {
        RSQCompress::compressFile(_inputFilename = in(), _outputFilename = out(),
                                  _vectorization = RSQCompress::NoVectorization);
    });
}

TEST_F(VectorizedCopy, OfVectorsThatAreTooShortFailsWhenTheyBecomeImages) {
    MovieBytes movie = withHeader();
    movie.attribute("data_type", "vec")
        .frame(numberedFrame(0, movieFibers))
        .frame(numberedFrame(1, movieFibers - 1));
    put(addFibers(movie));
    const Failure failure = {"dataio.imagereader", SOFTWARE, "IR_GF_SIZE",
                             QStringLiteral("Frame size is invalid, file may be corrupted.")};
    expectFailureAfter(1, failure, [&] { compressed(RSQCompress::NoVectorization); });
}

TEST_F(VectorizedCopy, OfPixelsLargerThanThoseOfTheServiceFails) {
    MovieBytes movie = withHeader(MZ_FLOAT);
    movie.attribute("data_type", "vec")
        .attribute("fovx", 800)
        .attribute("fovy", 800)
        .frame(numberedFrame(0, movieFibers));
    put(addFibers(movie));
    expectFailureAfter(0, invalidCopiedSize(), [&] { compressed(same); });
}

TEST_F(VectorizedCopy, OfFibersWithoutASizeFailsBeforeThereIsAnOutput) {
    MovieBytes movie;
    movie.attribute("pixtype", MZ_USHORT).frame(numberedFrame(0, moviePixels));
    put(addFibers(movie));
    expectFailure<IOFileException>(
        {"dataio.imagereader", SOFTWARE, "IR_GRFI_NOSIZE", QStringLiteral("Size not available.")},
        [&] { compressed(vectors); });
    EXPECT_FALSE(QFile::exists(out()));
}

TEST_F(VectorizedCopy, OfPixelsOfNoKnownSizeFailsWhenTheyBecomeImages) {
    MovieBytes movie;
    movie.size(movieWidth, movieHeight)
        .attribute("pixbits", 12)
        .attribute("data_type", "vec")
        .attribute("fovx", 800)
        .attribute("fovy", 800)
        .frame(numberedFrame(0, movieFibers));
    put(addFibers(movie));
    expectFailureAfter(0, invalidCopiedSize(), [&] { compressed(same); });
}

}  // namespace
