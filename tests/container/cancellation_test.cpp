// A thread that is cancelled while it holds a file: destructors give back what they hold, since an
// unwinding that begins in one ends the process, and the thread ends behind them.

#include <libDataIO/base/nocancellation.h>
#include <libDataIO/base/posixfile.h>
#include <libDataIO/fdchunkwriter.h>
#include <libDataIO/filereader.h>
#include <libDataIO/filewriter.h>
#include <libDataIO/mmapchunkreader.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <tests/support/addchunk.h>
#include <tests/support/cancelled.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

/// Holds a descriptor in an object of the library, cancels the thread and leaves the block.
template <class Holder>
void expectGivenBack(Holder hold) {
    const ScratchFile file(chunk(2, "aaaa"));
    const int fd = file.open();
    bool isBehind = false;
    EXPECT_TRUE(isCancelled([&] {
        {
            const auto held = hold(fd);
            pthread_cancel(pthread_self());
        }
        isBehind = true;
        pthread_testcancel();
    }));
    EXPECT_TRUE(isBehind);
    EXPECT_FALSE(isOpen(fd));
}

TEST(Cancellation, AWriterClosesItsFile) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    expectGivenBack([](int fd) {
        auto writer = std::make_unique<FDChunkWriter>();
        writer->fileDes(fd);
        return writer;
    });
}

TEST(Cancellation, AReaderClosesItsFile) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    expectGivenBack([](int fd) {
        auto reader = std::make_unique<MMapChunkReader>();
        reader->fileDes(fd);
        EXPECT_TRUE(reader->nextChunk(2));
        return reader;
    });
}

TEST(Cancellation, ADescriptorIsClosed) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    expectGivenBack([](int fd) { return std::make_unique<posix::Descriptor>(fd); });
}

TEST(Cancellation, TheOwnersOfReaderAndWriterAreDestroyed) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    const ScratchFile file(chunk(2, "aaaa"));
    bool isBehind = false;
    EXPECT_TRUE(isCancelled([&] {
        {
            FileReader reader;
            reader.openFile(file.path());
            FileWriter writer;
            writer.openFile(file.path(), FW_APPEND);
            pthread_cancel(pthread_self());
        }
        isBehind = true;
        pthread_testcancel();
    }));
    EXPECT_TRUE(isBehind);
}

TEST(Cancellation, DoesNotLeaveAFileHalfClosed) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    const ScratchFile file;
    const int fd = file.open();
    FDChunkWriter writer;
    writer.fileDes(fd);
    bool isBehind = false;
    EXPECT_TRUE(isCancelled([&] {
        pthread_cancel(pthread_self());
        writer.closeFile();
        isBehind = true;
        pthread_testcancel();
    }));
    EXPECT_TRUE(isBehind);
    EXPECT_FALSE(writer.openned());
    EXPECT_FALSE(isOpen(fd));
}

TEST(Cancellation, PassesThroughACallThatWrites) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    const ScratchFile file;
    FDChunkWriter writer;
    writer.fileDes(file.open());
    EXPECT_TRUE(isCancelled([&] {
        pthread_cancel(pthread_self());
        add(writer, 2, "aaaa");
        ADD_FAILURE() << "writing is where a thread may be cancelled";
    }));
    EXPECT_EQ(writer.tell(), 0U);
    EXPECT_EQ(file.size(), 0);
    EXPECT_EQ(add(writer, 2, "aaaa"), 0);
}

TEST(Cancellation, IsSwitchedOffOnlyAsLongAsTheGuardLives) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    bool isBehind = false;
    EXPECT_TRUE(isCancelled([&] {
        {
            const NoCancellation outer;
            const NoCancellation inner;
            pthread_cancel(pthread_self());
            pthread_testcancel();
        }
        isBehind = true;
        pthread_testcancel();
        ADD_FAILURE() << "still switched off";
    }));
    EXPECT_TRUE(isBehind);
}

TEST(Cancellation, ThatWasOffBeforeStaysOff) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    bool isBehind = false;
    EXPECT_FALSE(isCancelled([&] {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        { const NoCancellation guard; }
        pthread_cancel(pthread_self());
        pthread_testcancel();
        isBehind = true;
    }));
    EXPECT_TRUE(isBehind);
}

}  // namespace
