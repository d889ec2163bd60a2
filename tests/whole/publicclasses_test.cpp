// The size of every class that applications see: a new member, or one less, is noticed here before
// it breaks programs that were compiled against the library as it was. The table is held against
// the headers, so that no class is forgotten.

#include <libCommon/exceptions.h>
#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/fdchunkwriter.h>
#include <libDataIO/filereader.h>
#include <libDataIO/filewriter.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/mmapchunkreader.h>
#include <libDataIO/rsqcompressutil.h>
#include <libLog/logger.h>

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>

#include <tests/support/sourcetree.h>

using namespace mz;
using namespace mz::test;

namespace {

using ClassNames = std::set<std::string>;

struct Size {
    size_t is;
    size_t wanted;
};

const std::map<std::string, Size>& table() {
#define DATAIO_SIZE(name, wanted) \
    {                             \
#name, {                  \
            sizeof(name), wanted  \
        }                         \
    }
    // Sizes of 64-bit Linux with libstdc++, Qt 6 and Boost 1.74.
    static const std::map<std::string, Size> sizes = {
        DATAIO_SIZE(BaseException, 208),
        DATAIO_SIZE(RecoverableException, 208),
        DATAIO_SIZE(CriticalException, 208),
        DATAIO_SIZE(IOFileException, 208),
        DATAIO_SIZE(SaveException, 208),
        DATAIO_SIZE(UserMgmtException, 208),
        DATAIO_SIZE(BufferException, 208),
        DATAIO_SIZE(ConfigException, 208),
        DATAIO_SIZE(LocationInfo, 24),
        DATAIO_SIZE(PalColor, 12),
        DATAIO_SIZE(PalNode, 16),
        DATAIO_SIZE(MzPalette, 96),
        DATAIO_SIZE(Logger, 64),
        DATAIO_SIZE(LogLevel, 32),
        DATAIO_SIZE(LogRecord, 104),
        DATAIO_SIZE(LogStream, 8),
        DATAIO_SIZE(StandardErrorStream, 8),
        DATAIO_SIZE(Attribute, 24),
        DATAIO_SIZE(AttributeChunk, 56),
        DATAIO_SIZE(AttributePaletteAdaptor, 1),
        DATAIO_SIZE(ChunkHeaderBase, 16),
        DATAIO_SIZE(ChunkStartHeader, 16),
        DATAIO_SIZE(ChunkEndHeader, 16),
        DATAIO_SIZE(ChunkRecord, 8),
        DATAIO_SIZE(ChunkIndex, 56),
        DATAIO_SIZE(ChunkInfo, 112),
        DATAIO_SIZE(ChunkReader, 16),
        DATAIO_SIZE(ChunkWriter, 8),
        DATAIO_SIZE(FDChunkWriter, 72),
        DATAIO_SIZE(FileReader, 24),
        DATAIO_SIZE(FileWriter, 16),
        DATAIO_SIZE(TimevalLessThan, 1),
        DATAIO_SIZE(FrameTimer, 24),
        DATAIO_SIZE(ImageReader, sizeof(void*)),
        DATAIO_SIZE(SalvageGap, 40),
        DATAIO_SIZE(SalvageReport, 48),
        DATAIO_SIZE(ImageUtilities, 1),
        DATAIO_SIZE(ImageWriter, sizeof(void*)),
        DATAIO_SIZE(IReconstructionService, 8),
        DATAIO_SIZE(MMapChunkReader, 48),
        DATAIO_SIZE(ProgressReporter, 48),
        DATAIO_SIZE(RSQCompress, 1),
    };
#undef DATAIO_SIZE
    return sizes;
}

/// Classes that a header defines for itself; templates have no size.
ClassNames classesIn(const std::string& header) {
    static const std::regex definition(
        R"((template <[^\n]*>\n)?(class|struct) (DATAIO_EXPORT )?(\w+)( final)?( : [^{;]*)?\s*\{)");
    ClassNames classes;
    for (std::sregex_iterator at(header.begin(), header.end(), definition), end; at != end; ++at) {
        const bool isInside =
            at->position() > 0 && header[static_cast<size_t>(at->position()) - 1] != '\n';
        if (!(*at)[1].matched && !isInside) classes.insert((*at)[4]);
    }
    return classes;
}

/// Of all headers that are installed.
ClassNames publicClasses() {
    const std::set<std::string> present = [] {
        std::set<std::string> paths;
        for (const char* library : {"libCommon", "libLog", "libDataIO"})
            paths.merge(sourcePaths(library));
        return paths;
    }();
    ClassNames classes;
    for (const std::string& header : installedHeaders())
        if (present.count(header) > 0) classes.merge(classesIn(sourceText(header)));
    return classes;
}

TEST(PublicClasses, HaveTheSizesThatProgramsWereCompiledWith) {
    for (const auto& [name, size] : table())
        EXPECT_EQ(size.is, size.wanted) << name;
}

TEST(PublicClasses, AreAllInTheTable) {
    ClassNames listed;
    for (const auto& [name, size] : table())
        listed.insert(name);
    EXPECT_EQ(publicClasses(), listed);
}

TEST(PublicClasses, AreSeenInAHeader) {
    EXPECT_EQ(classesIn("class DATAIO_EXPORT One {\n"
                        "    struct Inside {};\n"
                        "};\n"
                        "struct Two : One {};\n"
                        "class Declared;\n"
                        "template <class T>\n"
                        "struct Form {};\n"
                        "class DATAIO_EXPORT Three : public One,\n"
                        "                            public Two {\n"
                        "};\n"),
              (ClassNames{"One", "Two", "Three"}));
}

}  // namespace
