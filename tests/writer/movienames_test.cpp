// Names of movies: they go to the system as they are, links are followed, and nothing is left
// behind or removed that the call has not made.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <QDir>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

/// Asked of the system: for Qt some names are those of a program's own resources.
bool exists(const QString& path) {
    struct stat status {};
    return ::lstat(path.toLocal8Bit().constData(), &status) == 0;
}

template <class Action>
void expectRefused(const char* code, Action action) {
    const LogCapture quiet;
    try {
        action();
        ADD_FAILURE() << "nothing thrown, expected " << code;
    } catch (const IOFileException& failure) {
        EXPECT_EQ(failure.code().toStdString(), code);
    }
}

class MovieNames : public testing::Test {
protected:
    MovieNames() : _before(QDir::currentPath()) {
        QDir::setCurrent(file.path().section(u'/', 0, -2));
        EXPECT_EQ(::mkdir(":", 0700), 0);
    }
    ~MovieNames() override { QDir::setCurrent(_before); }

    static void recordMovie(const QString& path) {
        ImageWriter writer;
        writer.create(path, false);
        setSize(writer, 2, 2);
        test::add(writer, frame16(4, 1));
        writer.close();
    }

    static QByteArray frameOf(const QString& path) {
        ImageReader reader(path);
        const void* data = nullptr;
        EXPECT_TRUE(reader.getFrame(data, 0));
        return {static_cast<const char*>(data), 8};
    }

    const ScratchFile file;

private:
    const QString _before;
};

TEST_F(MovieNames, AreNotTakenForThoseOfResources) {
    for (const char* const name : {":/movie", ":movie", "qrc:movie", "file:movie"}) {
        SCOPED_TRACE(name);
        const QString path = QString::fromLatin1(name);
        recordMovie(path);
        EXPECT_TRUE(exists(path));
        EXPECT_EQ(frameOf(path), frame16(4, 1));
        ImageWriter writer;
        writer.modify(path);
        writer.close();
        const QString missing = path + QStringLiteral("-missing");
        expectRefused("FDCW_MODIFY", [&] { writer.modify(missing); });
        expectRefused("FDCW_MODIFY", [&] { writer.modifyAttribute(missing, AttributeChunk()); });
        EXPECT_FALSE(exists(missing));
    }
}

TEST_F(MovieNames, OfLinksThatLeadToNothingLeaveNothingBehind) {
    for (const char* const target : {"target", "second"}) {
        ASSERT_EQ(::symlink(target, "link"), 0);
        ASSERT_EQ(::symlink("far", "second"), 0);
        ImageWriter writer;
        expectRefused("FDCW_MODIFY", [&] { writer.modify(QStringLiteral("link")); });
        expectRefused("FDCW_MODIFY",
                      [&] { writer.modifyAttribute(QStringLiteral("link"), AttributeChunk()); });
        EXPECT_TRUE(exists(QStringLiteral("link")));
        EXPECT_FALSE(exists(QStringLiteral("target")));
        EXPECT_FALSE(exists(QStringLiteral("far")));
        ::unlink("link");
        ::unlink("second");
    }
}

TEST_F(MovieNames, OfLinksAreThoseOfTheirMovies) {
    recordMovie(QStringLiteral("target"));
    ASSERT_EQ(::symlink("target", "link"), 0);
    ASSERT_EQ(::symlink("new", "dangling"), 0);
    ImageWriter writer;
    writer.modify(QStringLiteral("link"));
    test::add(writer, frame16(4, 2));
    writer.close();
    EXPECT_EQ(soundMovie(QStringLiteral("target")).frames.size(), 2U);
    recordMovie(QStringLiteral("link"));
    EXPECT_EQ(soundMovie(QStringLiteral("target")).frames.size(), 1U);
    recordMovie(QStringLiteral("dangling"));
    EXPECT_EQ(soundMovie(QStringLiteral("new")).frames.size(), 1U);
    EXPECT_TRUE(QFileInfo(QStringLiteral("link")).isSymLink());
    EXPECT_TRUE(QFileInfo(QStringLiteral("dangling")).isSymLink());

    writeFile(QStringLiteral("target"), "no movie");
    expectRefused("FDCW_MODIFY", [&] { writer.modify(QStringLiteral("link")); });
    EXPECT_EQ(readFile(QStringLiteral("target")), "no movie") << "it was not made by the call";
}

TEST_F(MovieNames, StandInMessagesAsTheyAre) {
    const QString name = QStringLiteral("%1 %2%n %s");
    ImageReader reader;
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_STAT",
                                    "File " + name + systemError(" : ", ENOENT)},
                                   [&] { reader.open(name); });
    writeFile(name, chunk(2, "aaaa"));
    expectFailure<IOFileException>({"dataio.imagereader", SOFTWARE, "IR_MISSINFO",
                                    "File " + name + ": missing info, bad file format."},
                                   [&] { reader.open(name); });
    ImageWriter first;
    first.create(name, false);
    ImageWriter second;
    expectFailure<IOFileException>({"dataio.filewriter", FILESYSTEM, "FW_OF_BUSY",
                                    "File " + name + " is being written by another writer."},
                                   [&] { second.create(name, false); });
}

}  // namespace
