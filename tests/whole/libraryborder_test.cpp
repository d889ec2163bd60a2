// What applications rely on across the border of the shared library: exceptions that they catch,
// interfaces that they implement, and nothing of the inside. This program links the library alone.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

// What stands in files or is handed over by value has one size wherever it is compiled.
static_assert(sizeof(ChunkRecord) == 8 && std::is_trivially_copyable_v<ChunkRecord>);
static_assert(sizeof(MZImageChunkType) == 4 && sizeof(MZImagePixelType) == 4);
static_assert(sizeof(CompressionType::e) == 4 && sizeof(ImageReader::FiberFilteringMode) == 4);
static_assert(sizeof(PalColor) == 12 && std::is_trivially_copyable_v<PalColor>);
static_assert(std::is_abstract_v<LogStream> && std::has_virtual_destructor_v<LogStream>);
static_assert(std::is_abstract_v<IReconstructionService> &&
              std::has_virtual_destructor_v<IReconstructionService>);
static_assert(!std::is_polymorphic_v<ImageWriter> && !std::is_polymorphic_v<ImageReader>);
static_assert(!std::is_copy_constructible_v<ImageWriter> &&
              !std::is_copy_assignable_v<ImageWriter>);
static_assert(!std::is_copy_constructible_v<ImageReader> &&
              !std::is_copy_assignable_v<ImageReader>);
static_assert(std::is_copy_constructible_v<IOFileException> &&
              std::is_base_of_v<std::exception, IOFileException>);

/// Puts the sample of each fibre into its pixel.
class NearestPixel : public IReconstructionService {
public:
    bool prepare(boost::iterator_range<const float*> fibers, int width, int /*height*/,
                 float /*fovX*/, float /*fovY*/, float /*minX*/, float /*maxX*/, float /*minY*/,
                 float /*maxY*/) override {
        for (auto xy = fibers.begin(); xy != fibers.end(); xy += 2)
            _pixels.push_back(static_cast<int>(xy[1] + 0.5F) * width +
                              static_cast<int>(xy[0] + 0.5F));
        return true;
    }
    bool reconstruct(boost::iterator_range<const uint16_t*> input,
                     boost::iterator_range<uint16_t*> output) override {
        for (size_t i = 0; i < _pixels.size(); ++i)
            output[_pixels[i]] = input[static_cast<std::ptrdiff_t>(i)];
        return true;
    }
    IReconstructionService* clone() const override { return new NearestPixel(); }

private:
    std::vector<int> _pixels;
};

TEST(LibraryBorder, MovieIsRecordedAndRead) {
    const ScratchFile file;
    const QByteArray frame = frame16(1200);
    ImageWriter writer;
    writer.create(file.path(), true);
    setSize(writer, 40, 30);
    writer.setCompression(CompressionType::GZip);
    writer.addFrame(frame16(1200, 2).constData(), 0.5F);
    writer.addFrame(frame.constData(), 0.5F);
    writer.close();
    soundMovie(file.path());

    ImageReader reader(file.path());
    const void* data = nullptr;
    ASSERT_EQ(reader.nbFrames(), 2U);
    ASSERT_TRUE(reader.getFrame(data, 1));
    EXPECT_EQ(std::memcmp(data, frame.constData(), 2400), 0);
}

template <class Exception>
bool isCaughtAs() {
    const LogCapture listening(LogLevel::Warning);
    try {
        ImageReader reader(QStringLiteral("/no such movie"));
    } catch (const Exception&) {
        return true;
    } catch (...) {
        return false;
    }
    return false;
}

TEST(LibraryBorder, FailuresAreCaughtAsAnyOfTheirClasses) {
    EXPECT_TRUE(isCaughtAs<IOFileException>());
    EXPECT_TRUE(isCaughtAs<RecoverableException>());
    EXPECT_TRUE(isCaughtAs<BaseException>());
    EXPECT_TRUE(isCaughtAs<std::exception>());
    EXPECT_TRUE(isCaughtAs<boost::exception>());
    EXPECT_FALSE(isCaughtAs<CriticalException>());
}

TEST(LibraryBorder, CaughtFailureOutlivesItsCauseAndTellsAll) {
    const LogCapture listening(LogLevel::Warning);
    std::unique_ptr<IOFileException> kept;
    try {
        ImageWriter().addFrame("abc", 3);
    } catch (const IOFileException& failure) {
        EXPECT_EQ(typeid(failure), typeid(IOFileException));
        kept = std::make_unique<IOFileException>(failure);
    }
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->code(), "FDCW_AC_BADFD");
    EXPECT_EQ(kept->origin(), SOFTWARE);
    EXPECT_STREQ(kept->what(), "FDCW_AC_BADFD: Cannot write in a non openned file.");
    EXPECT_GT(kept->locationInfo().lineNumber(), 0);
}

TEST(LibraryBorder, LogStreamOfTheApplicationGetsTheRecords) {
    const LogCapture listening(LogLevel::Warning);
    EXPECT_THROW(ImageWriter().addFrame("abc", 3), IOFileException);
    ASSERT_EQ(listening.records().size(), 1U);
    EXPECT_EQ(listening.records().front().code, "FDCW_AC_BADFD");
    EXPECT_EQ(listening.records().front().loggerName, "dataio.fdchunkwriter");
    EXPECT_EQ(listening.records().front().level, LogLevel::Error);
}

TEST(LibraryBorder, ReconstructionServiceOfTheApplicationIsUsed) {
    const ScratchFile file;
    const uint16_t samples[] = {100, 200};
    ImageWriter writer;
    writer.create(file.path(), true);
    setSize(writer, 4, 3);
    writer.addRasterFiberContinuousIndexes({1, 0, 2, 2});
    writer.addFrame(samples, 4, 0.5F);
    writer.close();

    const auto expectReconstructed = [](ImageReader& reader) {
        const void* data = nullptr;
        ASSERT_TRUE(reader.getFrame(data, 0));
        std::vector<uint16_t> image(12);
        std::memcpy(image.data(), data, 24);
        EXPECT_EQ(image, (std::vector<uint16_t>{0, 100, 0, 0, 0, 0, 0, 0, 0, 0, 200, 0}));
    };
    ImageReader given(file.path(), boost::make_shared<NearestPixel>());
    expectReconstructed(given);

    ImageReader::setReconstructionServiceFactory(boost::make_shared<NearestPixel>());
    ImageReader cloned(file.path());
    ImageReader::setReconstructionServiceFactory({});
    expectReconstructed(cloned);
}

TEST(LibraryBorder, OnlyWhatIsMeantForApplicationsIsVisible) {
    const auto isVisible = [](const char* symbol) {
        return dlsym(RTLD_DEFAULT, symbol) != nullptr;
    };
    EXPECT_TRUE(isVisible("_ZN2mz11ImageWriter5closeEv"));
    EXPECT_TRUE(isVisible("_ZTIN2mz15IOFileExceptionE"));
    EXPECT_TRUE(isVisible("_ZTIN2mz9LogStreamE"));
    EXPECT_TRUE(isVisible("_ZTIN2mz22IReconstructionServiceE"));
    EXPECT_FALSE(isVisible("_ZN2mz15compressionNameENS_15CompressionType1eE"));
    EXPECT_FALSE(isVisible("_ZN2mz17decodeLaserPowersEPKvm"));
    EXPECT_FALSE(isVisible("_ZN2mz5posix4openERK7QStringi"));
}

}  // namespace
