// How the mapped reader deals with memory: what is kept, given back, and what happens when the
// system gives none or takes none.

#include <libDataIO/base/posixfile.h>
#include <libDataIO/container/filemapping.h>
#include <libDataIO/mmapchunkreader.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>

#include <tests/support/expectfailure.h>
#include <tests/support/faultlayer.h>
#include <tests/support/limits.h>
#include <tests/support/processmemory.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 mebibyte = 1024 * 1024;

const Failure unmapFailure{"dataio.mmapchunkreader", SYSCALL, "MM_UNMAP",
                           systemError("Could not clear previous buffer: ", EINVAL)};

Failure mapFailure(const char* code, int error) {
    return {"dataio.mmapchunkreader", SYSCALL, code, systemError("Could not read data: ", error)};
}

class Mapping : public testing::Test {
protected:
    void openOver(const QByteArray& bytes) {
        file.put(0, bytes);
        reader.fileDes(file.open(O_RDONLY));
    }
    QByteArray payload() const {
        return QByteArray(static_cast<const char*>(reader.data()), reader.size());
    }

    ScratchFile file;
    MMapChunkReader reader;
};

/// Bytes of files that count as this process's own memory, be they on a disk or themselves in
/// memory.
int64_t filePages() {
    return processMemory("RssFile") + processMemory("RssShmem");
}

/// How many mappings of a file the process has.
int mappingsOf(const QString& path) {
    const QByteArray maps = readFile(QStringLiteral("/proc/self/maps"));
    return static_cast<int>(maps.count(path.toUtf8()));
}

/// Looks at every page of the current payload and checks that it is all zeros.
void look(const MMapChunkReader& reader) {
    const char* data = static_cast<const char*>(reader.data());
    unsigned int sum = 0;
    for (unsigned int i = 0; i < reader.size(); i += 4096)
        sum += static_cast<unsigned char>(data[i]);
    ASSERT_EQ(sum, 0U);
}

TEST_F(Mapping, PagesThatWereLookedAtAreGivenBack) {
    constexpr int chunks = 20;
    constexpr uint32_t size = 10 * mebibyte;
    qint64 end = 0;
    for (int i = 0; i < chunks; ++i)
        end = putSparseChunk(file, end, 2, size);
    reader.fileDes(file.open(O_RDONLY));

    const qint64 before = filePages();
    qint64 most = 0;
    for (int i = 0; i < chunks; ++i) {
        ASSERT_TRUE(reader.nextChunk(2));
        look(reader);
        most = std::max(most, filePages() - before);
    }
    EXPECT_LE(most, 66 * mebibyte);
    EXPECT_GE(most, 50 * mebibyte) << "nothing was kept from chunk to chunk";

    // In the other direction, and with the same chunk again and again.
    for (int i = 0; i < chunks; ++i) {
        ASSERT_TRUE(reader.prevChunk(2));
        look(reader);
        EXPECT_LE(filePages() - before, 66 * mebibyte);
    }
    for (int i = 0; i < chunks; ++i) {
        ASSERT_TRUE(reader.seek(0));
        ASSERT_TRUE(reader.nextChunk(2));
        look(reader);
        EXPECT_LE(filePages() - before, 66 * mebibyte);
    }
}

/// Where the pages of a mapping that is gone were, there may be memory of others.
void expectNoPagesAreGivenBackIn(MMapChunkReader& reader, const ScratchFile& next) {
    const FailingCalls advised(Call::Advise, EINVAL);
    reader.fileDes(next.open(O_RDONLY));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(advised.hits(), 0) << "what lies behind the file in memory is not ours to drop";
}

TEST_F(Mapping, PagesOfAFormerFileAreNotGivenBackInTheNext) {
    putSparseChunk(file, 0, 2, 60 * mebibyte);
    const ScratchFile small;
    putSparseChunk(small, 0, 2, 8 * mebibyte);
    reader.fileDes(file.open(O_RDONLY));
    ASSERT_TRUE(reader.nextChunk(2));
    reader.closeFile();
    expectNoPagesAreGivenBackIn(reader, small);
}

TEST_F(Mapping, PagesOfAFormerFileAreNotGivenBackForALargeChunkOfTheNext) {
    const qint64 farOut = putSparseChunk(file, 0, 2, 300 * mebibyte);
    putSparseChunk(file, farOut, 2, 10 * mebibyte);
    const ScratchFile large;
    putSparseChunk(large, 0, 2, 65 * mebibyte);
    reader.fileDes(file.open(O_RDONLY));
    ASSERT_TRUE(reader.seek(farOut));
    ASSERT_TRUE(reader.nextChunk(2));
    reader.closeFile();
    expectNoPagesAreGivenBackIn(reader, large);
}

TEST_F(Mapping, NoOffsetIsTooLargeToLookFor) {
    openOver(chunk(2, "aaaa"));
    ASSERT_TRUE(reader.nextChunk(2));
    ASSERT_TRUE(reader.seek(std::numeric_limits<qint64>::max()));
    try {
        EXPECT_FALSE(reader.nextChunk(2));
    } catch (const IOFileException& refused) {
        const std::string code = refused.code().toStdString();
        EXPECT_TRUE(code == "CHB_LFD_SEEK" || code == "CHB_LDF_READ")
            << code << ": file systems differ in what they can seek and read";
    }
    ASSERT_TRUE(reader.rewind());
    EXPECT_TRUE(reader.nextChunk(2));
}

TEST_F(Mapping, OneMappingServesAllMoves) {
    openOver(chunk(2, "aaaa") + chunk(2, "bbbb") + chunk(5, "cc"));
    ASSERT_TRUE(reader.nextChunk(2));
    const FailingCalls noneIsAsked(Call::Map, ENOMEM, 0, 100);
    ASSERT_TRUE(reader.nextChunk(2));
    ASSERT_TRUE(reader.rewind());
    ASSERT_TRUE(reader.nextChunk(2));
    ASSERT_TRUE(reader.seekEnd());
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(noneIsAsked.hits(), 0);
}

TEST_F(Mapping, WhereTheFileCannotBeMappedWholeTheChunkIs) {
    openOver(chunk(2, QByteArray(5000, 'a')) + chunk(2, QByteArray(100, 'b')) + chunk(5, {}));
    const auto onlyTheChunkIsMapped = [](auto&& move) {
        const FailingCalls whole(Call::Map, ENOMEM);
        ASSERT_TRUE(move());
        EXPECT_EQ(whole.hits(), 1);
    };
    onlyTheChunkIsMapped([&] { return reader.nextChunk(2); });
    EXPECT_EQ(payload(), QByteArray(5000, 'a'));
    onlyTheChunkIsMapped([&] { return reader.nextChunk(2); });
    EXPECT_EQ(payload(), QByteArray(100, 'b'));
    onlyTheChunkIsMapped([&] { return reader.nextChunk(5); });
    EXPECT_NE(reader.data(), nullptr);
    EXPECT_EQ(reader.size(), 0U);
    onlyTheChunkIsMapped([&] { return reader.prevChunk(5); });
    onlyTheChunkIsMapped([&] { return reader.prevChunk(2); });
    EXPECT_EQ(payload(), QByteArray(100, 'b'));
}

TEST_F(Mapping, AFileLargerThanTheAddressSpaceIsReadChunkByChunk) {
    DATAIO_SKIP_IF_SANITIZED();
    qint64 end = putSparseChunk(file, 0, 2, 0x7fffffff);
    file.put(end, chunk(2, QByteArray(100000, 'b')) + chunk(5, "info"));
    reader.fileDes(file.open(O_RDONLY));
    reader.seekEnd();

    const AddressSpaceLimit limit(static_cast<rlim_t>(256 * mebibyte));
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(payload(), "info");
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_EQ(payload(), QByteArray(100000, 'b'));
    // 2 GiB do not fit even alone.
    expectFailure<IOFileException>(mapFailure("MM_CR_MMAP", ENOMEM), [&] { reader.prevChunk(2); });
    reader.rewind();
    expectFailure<IOFileException>(mapFailure("MM_NC_MMAP", ENOMEM), [&] { reader.nextChunk(2); });
    reader.seek(end);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(), QByteArray(100000, 'b'));
}

TEST_F(Mapping, AFailedMapLeavesTheCursorAndNoChunk) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    {
        const FailingCalls all(Call::Map, ENODEV, 0, 4);
        expectFailure<IOFileException>(mapFailure("MM_NC_MMAP", ENODEV),
                                       [&] { reader.nextChunk(2); });
        EXPECT_EQ(all.hits(), 2);
        EXPECT_EQ(reader.size(), 0U);
        reader.seekEnd();
        expectFailure<IOFileException>(mapFailure("MM_CR_MMAP", ENODEV),
                                       [&] { reader.prevChunk(5); });
        EXPECT_EQ(all.hits(), 4);
        EXPECT_EQ(reader.size(), 0U);
    }
    ASSERT_TRUE(reader.prevChunk(5));
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_EQ(payload(), "aaaa");
}

TEST_F(Mapping, AFileWhoseLengthIsNotToldIsNotMapped) {
    openOver(chunk(2, "aaaa"));
    {
        const FailingCalls silent(Call::Stat, EIO);
        expectFailure<IOFileException>(mapFailure("MM_NC_MMAP", EIO), [&] { reader.nextChunk(2); });
    }
    reader.seekEnd();
    {
        const FailingCalls silent(Call::Stat, EIO);
        expectFailure<IOFileException>(mapFailure("MM_CR_MMAP", EIO), [&] { reader.prevChunk(2); });
    }
    EXPECT_TRUE(reader.prevChunk(2));
}

TEST_F(Mapping, AChunkThatCannotBeReleasedStaysAndTheNextCallTriesAgain) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    {
        const FailingCalls whole(Call::Map, ENOMEM);
        ASSERT_TRUE(reader.nextChunk(2));
    }
    const auto failsToRelease = [&](auto&& move) {
        const FailingCalls stuck(Call::Unmap, EINVAL);
        expectFailure<CriticalException>(unmapFailure, move);
        EXPECT_EQ(payload(), "aaaa");
    };
    failsToRelease([&] { reader.nextChunk(5); });
    failsToRelease([&] { reader.prevChunk(2); });
    failsToRelease([&] { reader.rewind(); });
    failsToRelease([&] { reader.seekEnd(); });
    failsToRelease([&] { reader.seek(0); });
    failsToRelease([&] { reader.closeFile(); });
    EXPECT_TRUE(reader.openned());
    ASSERT_TRUE(reader.nextChunk(5)) << "the cursor moved";
    EXPECT_EQ(payload(), "bb");
}

TEST_F(Mapping, ClosingTriesAgainToReleaseTheFile) {
    openOver(chunk(2, "aaaa"));
    ASSERT_TRUE(reader.nextChunk(2));
    {
        const FailingCalls stuck(Call::Unmap, EINVAL);
        expectFailure<CriticalException>(unmapFailure, [&] { reader.closeFile(); });
        EXPECT_EQ(stuck.hits(), 1);
    }
    EXPECT_TRUE(reader.openned());
    reader.closeFile();
    EXPECT_FALSE(reader.openned());
}

TEST_F(Mapping, AFileThatHasGrownIsReadThoughItsOldMappingStays) {
    const QByteArray first = chunk(2, "aaaa");
    openOver(first);
    ASSERT_TRUE(reader.nextChunk(2));
    file.put(first.size(), chunk(2, QByteArray(9000, 'b')));
    const FailingCalls stuck(Call::Unmap, EINVAL);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(stuck.hits(), 1);
    EXPECT_EQ(payload(), QByteArray(9000, 'b'));
    EXPECT_EQ(mappingsOf(file.path()), 2);
    ASSERT_TRUE(reader.rewind());
    ASSERT_TRUE(reader.nextChunk(2));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(mappingsOf(file.path()), 1);
    reader.closeFile();
    EXPECT_EQ(mappingsOf(file.path()), 0);
}

TEST_F(Mapping, TheDestructorLeavesNoneBehind) {
    const QByteArray bytes = chunk(2, QByteArray(5000, 'a'));
    openOver(bytes);
    {
        MMapChunkReader whole;
        whole.fileDes(file.open(O_RDONLY));
        ASSERT_TRUE(whole.nextChunk(2));
        EXPECT_EQ(mappingsOf(file.path()), 1);
    }
    EXPECT_EQ(mappingsOf(file.path()), 0) << "of the whole file";
    {
        MMapChunkReader single;
        single.fileDes(file.open(O_RDONLY));
        const FailingCalls noRoom(Call::Map, ENOMEM);
        ASSERT_TRUE(single.nextChunk(2));
        EXPECT_EQ(mappingsOf(file.path()), 1);
    }
    EXPECT_EQ(mappingsOf(file.path()), 0) << "of a chunk";
}

/// Another program may cut the file at any time.
TEST_F(Mapping, AFileThatIsCutBehindAHeaderHasNoSuchChunk) {
    const QByteArray first = chunk(2, "aaaa");
    const QByteArray bytes = first + chunk(5, QByteArray(5000, 'b'));
    const auto cutsBeforeItsLengthIsAsked = [&](const char* code, auto move) {
        file.put(0, bytes);
        const Meanwhile cut(Call::Stat, 1, [&] { file.resize(first.size() + 100); });
        expectFailure<IOFileException>(
            {"dataio.mmapchunkreader", SOFTWARE, code,
             QStringLiteral("Chunk exceeds file, file may be corrupted.")},
            move);
        EXPECT_TRUE(cut.hasHappened());
        EXPECT_EQ(reader.size(), 0U);
    };
    openOver(bytes);
    reader.seekEnd();
    cutsBeforeItsLengthIsAsked("MM_CR_BOUND", [&] { reader.prevChunk(5); });
    reader.seek(first.size());
    cutsBeforeItsLengthIsAsked("MM_NC_BOUND", [&] { reader.nextChunk(5); });
}

TEST_F(Mapping, TheDestructorIsSilent) {
    const LogCapture log;
    auto other = std::make_unique<MMapChunkReader>();
    other->fileDes(file.open(O_RDONLY));
    file.put(0, chunk(2, "aaaa"));
    ASSERT_TRUE(other->nextChunk(2));
    const FailingCalls failing(Call::Close, EIO);
    other.reset();
    EXPECT_EQ(failing.hits(), 1);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(Mapping, InterruptedReadsOfHeadersAreMadeAgain) {
    openOver(chunk(2, "aaaa"));
    const FailingCalls interrupted(Call::Read, EINTR, 0, 2);
    EXPECT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(interrupted.hits(), 2);
}

TEST(FileMapping, TellsWhatLiesInTheMappedFile) {
    const ScratchFile file(QByteArray(100, 'm'));
    const posix::Descriptor opened(file.open(O_RDONLY));
    FileMapping mapping;
    EXPECT_EQ(mapping.mapped(0, 1), nullptr);
    const char* const start = mapping.view(opened.get(), 100, 0, 100);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(mapping.mapped(0, 100), start);
    EXPECT_EQ(mapping.mapped(84, 16), start + 84);
    EXPECT_EQ(mapping.mapped(85, 16), nullptr);
    EXPECT_EQ(mapping.mapped(-1, 16), nullptr);
    EXPECT_EQ(mapping.mapped(std::numeric_limits<qint64>::max(), 16), nullptr);
    mapping.fileChanged();
    EXPECT_EQ(mapping.mapped(0, 16), nullptr);
}

}  // namespace
