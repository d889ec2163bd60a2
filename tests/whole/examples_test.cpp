// The example programs that look at movies, copy or change them, and the demonstration.

#include <libDataIO/dataiocommon.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <gtest/gtest.h>

#include <tests/support/bytes.h>
#include <tests/support/examples.h>
#include <tests/support/files.h>
#include <tests/support/moviebytes.h>

namespace mz::test {
namespace {

class HelpOf : public Examples, public testing::WithParamInterface<const char*> {};

TEST_P(HelpOf, ShowsTheUsage) {
    const QString out = succeed(QLatin1String(GetParam()), {QStringLiteral("--help")});
    EXPECT_TRUE(out.startsWith(QStringLiteral("Usage: "))) << out.toStdString();
}

TEST_P(HelpOf, UnknownOptionsAreRefused) {
    const Result result = run(QLatin1String(GetParam()), {QStringLiteral("--nonsense")});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("nonsense"))) << result.err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(All, HelpOf,
                         testing::Values("record", "inspect", "extract", "thumbnail", "recompress",
                                         "annotate", "ring", "salvage", "demo"));

TEST_F(Examples, FirstMoviePrintsWhatItRecorded) {
    EXPECT_EQ(succeed(QStringLiteral("firstmovie"), {}).toStdString(),
              "3 frames: three grey frames\nthe first pixel is 0\nthe first pixel is 1000\n"
              "the first pixel is 2000\n");
}

TEST_F(Examples, ExistingFilesAreOnlyOverwrittenOnRequest) {
    drawDeep("a.png", 1);
    writeFile(path("m.movie"), "precious");
    const QStringList arguments{QStringLiteral("m.movie"), QStringLiteral("a.png")};
    refuse(QStringLiteral("record"), arguments, "m.movie exists already; --force overwrites it");
    EXPECT_EQ(readFile(path("m.movie")), QByteArray("precious"));
    succeed(QStringLiteral("record"), QStringList{QStringLiteral("--force")} + arguments);
    EXPECT_EQ(fact("m.movie", "frames"), QStringLiteral("1"));
    refuse(QStringLiteral("thumbnail"), {QStringLiteral("m.movie"), QStringLiteral("a.png")},
           "a.png exists already");
}

TEST_F(Examples, InspectListsIndexAttributesAndFrames) {
    drawDeep("a.png", 1);
    succeed(QStringLiteral("record"),
            {QStringLiteral("m.movie"), QStringLiteral("a.png"), QStringLiteral("a.png")});
    const QString brief =
        succeed(QStringLiteral("inspect"), {QStringLiteral("--brief"), QStringLiteral("m.movie")});
    EXPECT_FALSE(brief.contains(QStringLiteral("attributes")));
    const QString out =
        succeed(QStringLiteral("inspect"), {QStringLiteral("--frames"), QStringLiteral("m.movie")});
    EXPECT_TRUE(out.startsWith(brief));
    const QString text = out.simplified();
    EXPECT_TRUE(text.contains(QStringLiteral("frames 2 4800 0 ")));  // 40 * 30 * 2 bytes each
    EXPECT_TRUE(text.contains(QStringLiteral("frame timers 1 16 4864 ")));  // behind two chunks
    EXPECT_TRUE(text.contains(QStringLiteral("width 40 ")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("1 2432 2400 0.083000 -")));
}

TEST_F(Examples, WhatIsNoMovieIsRefused) {
    writeFile(path("m.movie"), "this is no movie at all, but long enough to be one");
    for (const char* program : {"inspect", "annotate"})
        refuse(QLatin1String(program), {QStringLiteral("m.movie")}, ":");
    refuse(QStringLiteral("inspect"), {QStringLiteral("absent.movie")}, "FR_OF_STAT");
    for (const char* program : {"extract", "thumbnail", "recompress"})
        refuse(QLatin1String(program), {QStringLiteral("m.movie"), QStringLiteral("out")}, ":");
    refuse(QStringLiteral("inspect"), {}, "give one movie");
    refuse(QStringLiteral("salvage"), {QStringLiteral("m.movie")}, "IU_S_FORMAT");
    EXPECT_EQ(files(), QStringList(QStringLiteral("m.movie")));
}

TEST_F(Examples, ExtractTakesARange) {
    drawDeep("a.png", 1);
    const QString a = QStringLiteral("a.png");
    succeed(QStringLiteral("record"), {QStringLiteral("m.movie"), a, a, a, a});
    succeed(QStringLiteral("extract"),
            {QStringLiteral("--first"), QStringLiteral("1"), QStringLiteral("--last"),
             QStringLiteral("2"), QStringLiteral("--stretch"), QStringLiteral("m.movie"),
             QStringLiteral("out")});
    EXPECT_EQ(QDir(path("out")).entryList(QDir::Files, QDir::Name),
              QStringList({QStringLiteral("m-000001.png"), QStringLiteral("m-000002.png")}));
    EXPECT_EQ(QImage(path("out/m-000001.png")).format(), QImage::Format_Grayscale8);
    refuse(QStringLiteral("extract"),
           {QStringLiteral("--first"), QStringLiteral("4"), QStringLiteral("m.movie"),
            QStringLiteral("out")},
           "--first takes a whole number from 0 to 3");
    refuse(QStringLiteral("extract"),
           {QStringLiteral("--first"), QStringLiteral("2"), QStringLiteral("--last"),
            QStringLiteral("1"), QStringLiteral("m.movie"), QStringLiteral("out")},
           "--last is before --first");
}

// What a damaged disk or a careless program leaves: a header that promises more than a frame holds.
TEST_F(Examples, AFrameShorterThanTheHeaderSaysIsRefused) {
    const QByteArray whole(40 * 30 * 2, 'w');
    writeFile(path("short.movie"), MovieBytes()
                                       .size(40, 30)
                                       .endian(Order::Little)
                                       .attribute("pixtype", MZ_USHORT)
                                       .attribute("pixbits", 16)
                                       .frame(whole)
                                       .frame(whole.left(20))
                                       .bytes());
    const QString movie = QStringLiteral("short.movie");
    const QString force = QStringLiteral("--force");
    const char* const tooShort = "frame 1 is too short";
    refuse(QStringLiteral("extract"), {movie, QStringLiteral("out")}, tooShort);
    EXPECT_EQ(QDir(path("out")).entryList(QDir::Files).size(), 1);
    refuse(QStringLiteral("thumbnail"),
           {QStringLiteral("--frame"), QStringLiteral("1"), movie, QStringLiteral("t.png")},
           tooShort);
    refuse(QStringLiteral("inspect"), {QStringLiteral("--digest"), movie}, tooShort);
    refuse(QStringLiteral("recompress"),
           {QStringLiteral("--compression"), QStringLiteral("gz"), movie, QStringLiteral("o")},
           tooShort);
    refuse(QStringLiteral("recompress"), {movie, QStringLiteral("o")}, tooShort);
    EXPECT_EQ(files(), QStringList(movie));
    // What only looks at header and index still tells what is there.
    EXPECT_TRUE(succeed(QStringLiteral("inspect"), {QStringLiteral("--frames"), movie})
                    .simplified()
                    .contains(QStringLiteral(" 1 2432 20 ")));
}

TEST_F(Examples, AVectorizedFrameShorterThanItsFibersIsRefused) {
    writeFile(path("short.movie"), MovieBytes()
                                       .size(40, 30)
                                       .endian(Order::Little)
                                       .attribute("pixtype", MZ_USHORT)
                                       .attribute("pixbits", 16)
                                       .attribute("data_type", "vec")
                                       .frame(QByteArray(3 * 2, 'w'))
                                       .frame(QByteArray(2 * 2, 'w'))
                                       .fibers({0x10001, 0, 0x20002, 0, 0x30003, 0})
                                       .bytes());
    const QString movie = QStringLiteral("short.movie");
    const char* const tooShort = "frame 1 is too short";
    // The library itself refuses to make an image of it.
    refuse(QStringLiteral("extract"), {movie, QStringLiteral("out")}, "Frame size is invalid");
    refuse(QStringLiteral("thumbnail"),
           {QStringLiteral("--frame"), QStringLiteral("1"), movie, QStringLiteral("t.png")},
           tooShort);
    refuse(QStringLiteral("inspect"), {QStringLiteral("--digest"), movie}, tooShort);
    refuse(QStringLiteral("recompress"), {movie, QStringLiteral("o")}, tooShort);
    EXPECT_EQ(files(), QStringList(movie));
}

TEST_F(Examples, ThumbnailFitsIntoTheSizeAskedFor) {
    drawDeep("a.png", 1);
    drawFlat("b.png", 77);
    succeed(QStringLiteral("record"), {QStringLiteral("deep.movie"), QStringLiteral("a.png")});
    succeed(QStringLiteral("record"), {QStringLiteral("flat.movie"), QStringLiteral("b.png")});
    succeed(QStringLiteral("thumbnail"), {QStringLiteral("--size"), QStringLiteral("20x20"),
                                          QStringLiteral("deep.movie"), QStringLiteral("t.png")});
    EXPECT_EQ(QImage(path("t.png")).size(), QSize(20, 15));
    succeed(QStringLiteral("thumbnail"), {QStringLiteral("flat.movie"), QStringLiteral("u.png")});
    EXPECT_EQ(QImage(path("u.png")).pixelColor(5, 5), QColor(77, 77, 77));
    refuse(QStringLiteral("thumbnail"),
           {QStringLiteral("--size"), QStringLiteral("20"), QStringLiteral("deep.movie"),
            QStringLiteral("v.png")},
           "--size takes WIDTHxHEIGHT");
    refuse(QStringLiteral("thumbnail"),
           {QStringLiteral("--frame"), QStringLiteral("1"), QStringLiteral("deep.movie"),
            QStringLiteral("v.png")},
           "--frame takes a whole number from 0 to 0");
}

TEST_F(Examples, RecompressedMoviesHoldTheSameSamples) {
    drawDeep("a.png", 1);
    const QString a = QStringLiteral("a.png");
    succeed(QStringLiteral("record"), {QStringLiteral("m.movie"), a, a, a});
    const QString digest = fact("m.movie", "digest");
    for (const char* compression : {"z", "gz", "bz2", "none"}) {
        // In place as well: the new movie takes the place of the old one when it is whole.
        succeed(QStringLiteral("recompress"),
                {QStringLiteral("--force"), QStringLiteral("--compression"),
                 QLatin1String(compression), QStringLiteral("m.movie"), QStringLiteral("m.movie")});
        EXPECT_EQ(fact("m.movie", "compression"), QLatin1String(compression));
        EXPECT_EQ(fact("m.movie", "digest"), digest);
    }
    succeed(QStringLiteral("recompress"),
            {QStringLiteral("--first"), QStringLiteral("1"), QStringLiteral("--last"),
             QStringLiteral("1"), QStringLiteral("m.movie"), QStringLiteral("one.movie")});
    EXPECT_EQ(fact("one.movie", "frames"), QStringLiteral("1"));
}

TEST_F(Examples, RecompressLeavesNothingBehindWhenItFails) {
    drawDeep("a.png", 1);
    const QString a = QStringLiteral("a.png");
    succeed(QStringLiteral("record"), {QStringLiteral("--compression"), QStringLiteral("gz"),
                                       QStringLiteral("m.movie"), a, a});
    QByteArray bytes = readFile(path("m.movie"));
    bytes[16 + 12] = static_cast<char>(~bytes[16 + 12]);  // in the first frame's stream
    writeFile(path("m.movie"), bytes);
    writeFile(path("old.movie"), "precious");
    refuse(QStringLiteral("recompress"),
           {QStringLiteral("--force"), QStringLiteral("m.movie"), QStringLiteral("old.movie")}, "");
    EXPECT_EQ(readFile(path("old.movie")), QByteArray("precious"));
    EXPECT_EQ(files().size(), 3);
}

TEST_F(Examples, AnnotateChangesTheAttributesAndNothingElse) {
    drawDeep("a.png", 1);
    succeed(QStringLiteral("record"), {QStringLiteral("m.movie"), QStringLiteral("a.png")});
    const QByteArray before = readFile(path("m.movie"));
    const QString digest = fact("m.movie", "digest");
    succeed(QStringLiteral("annotate"),
            {QStringLiteral("--comment"), QStringLiteral("seen"), QStringLiteral("--set"),
             QStringLiteral("plug_note=a = b"), QStringLiteral("m.movie")});
    EXPECT_EQ(fact("m.movie", "comment"), QStringLiteral("seen"));
    EXPECT_EQ(fact("m.movie", "digest"), digest);
    const QString listed =
        succeed(QStringLiteral("annotate"), {QStringLiteral("m.movie")}).simplified();
    EXPECT_TRUE(listed.contains(QStringLiteral("plug_note a = b"))) << listed.toStdString();
    succeed(QStringLiteral("annotate"),
            {QStringLiteral("--remove"), QStringLiteral("comment"), QStringLiteral("--remove"),
             QStringLiteral("plug_note"), QStringLiteral("m.movie")});
    EXPECT_EQ(readFile(path("m.movie")), before);
}

TEST_F(Examples, AnnotateRefusesWhatWouldSpoilTheMovie) {
    drawDeep("a.png", 1);
    succeed(QStringLiteral("record"), {QStringLiteral("m.movie"), QStringLiteral("a.png")});
    const QByteArray before = readFile(path("m.movie"));
    const auto set = [&](const QString& pair, const char* part) {
        refuse(QStringLiteral("annotate"),
               {QStringLiteral("--set"), pair, QStringLiteral("m.movie")}, part);
    };
    set(QStringLiteral("width=7"), "\"width\" says how the frames are stored");
    set(QStringLiteral("novalue"), "--set takes key=value");
    set(QStringLiteral("key="), "--set takes key=value");
    set(QStringLiteral("=value"), "--set takes key=value");
    set(QStringLiteral("#key=1"), "cannot be the name of an attribute");
    set(QString::fromUtf8("unit=\u03bcm"), "characters that a movie cannot store");
    refuse(QStringLiteral("annotate"),
           {QStringLiteral("--remove"), QStringLiteral("endian"), QStringLiteral("m.movie")},
           "\"endian\" says how the frames are stored");
    refuse(QStringLiteral("annotate"),
           {QStringLiteral("--remove"), QStringLiteral("absent"), QStringLiteral("m.movie")},
           "has no attribute \"absent\"");
    EXPECT_EQ(readFile(path("m.movie")), before);
}

TEST_F(Examples, RingKeepsTheNewestFramesOldestFirst) {
    // The simulation always gives the same frames: a ring that never wraps holds them all.
    succeed(QStringLiteral("ring"),
            {QStringLiteral("--slots"), QStringLiteral("7"), QStringLiteral("--frames"),
             QStringLiteral("7"), QStringLiteral("all.movie")});
    const QString out =
        succeed(QStringLiteral("ring"),
                {QStringLiteral("--slots"), QStringLiteral("4"), QStringLiteral("--frames"),
                 QStringLiteral("7"), QStringLiteral("ring.movie")});
    EXPECT_TRUE(out.contains(QStringLiteral("frames 3 to 6")));
    succeed(QStringLiteral("recompress"),
            {QStringLiteral("--first"), QStringLiteral("3"), QStringLiteral("all.movie"),
             QStringLiteral("last.movie")});
    EXPECT_EQ(fact("ring.movie", "digest"), fact("last.movie", "digest"));
    EXPECT_EQ(fact("ring.movie", "duration"), QStringLiteral("0.250 s from first to last frame"));
}

TEST_F(Examples, InterruptedProgramsLeaveNothingBehind) {
    QProcess process;
    process.setWorkingDirectory(path(""));
    process.start(QStringLiteral(DATAIO_EXAMPLES_DIR "/ring"),
                  {QStringLiteral("--slots"), QStringLiteral("2"), QStringLiteral("--frames"),
                   QStringLiteral("100000"), QStringLiteral("m.movie")});
    while (files().isEmpty() && !process.waitForFinished(10)) {
    }
    EXPECT_EQ(files(), QStringList(QStringLiteral("m.movie.part")));
    process.terminate();
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_TRUE(process.readAllStandardError().contains("interrupted"));
    EXPECT_EQ(files(), QStringList());
}

TEST_F(Examples, SalvageBringsBackTheFramesOfACutMovie) {
    drawDeep("a.png", 1);
    const QString a = QStringLiteral("a.png");
    succeed(QStringLiteral("record"), {QStringLiteral("whole.movie"), a, a, a});
    writeFile(path("cut.movie"), readFile(path("whole.movie")).left(2 * 2432 + 100));
    refuse(QStringLiteral("inspect"), {QStringLiteral("cut.movie")}, ":");
    const QString out = succeed(QStringLiteral("salvage"),
                                {QStringLiteral("--like"), QStringLiteral("whole.movie"),
                                 QStringLiteral("cut.movie"), QStringLiteral("mended.movie")});
    EXPECT_TRUE(out.simplified().contains(QStringLiteral("frames kept 2"))) << out.toStdString();
    EXPECT_EQ(fact("mended.movie", "frames"), QStringLiteral("2"));
    EXPECT_TRUE(succeed(QStringLiteral("salvage"), {QStringLiteral("mended.movie")})
                    .contains(QStringLiteral("opens as it is")));
}

TEST_F(Examples, SalvageLendsAVectorizedMovieWhatItNeeds) {
    succeed(QStringLiteral("demo"), {QStringLiteral("--frames"), QStringLiteral("3")});
    const QStringList vectorized =
        QDir(path("movies")).entryList({QStringLiteral("*vec*")}, QDir::Files);
    ASSERT_FALSE(vectorized.isEmpty());
    const QString like = QStringLiteral("movies/") + vectorized.first();
    succeed(QStringLiteral("recompress"), {QStringLiteral("--compression"), QStringLiteral("gz"),
                                           like, QStringLiteral("v.movie")});
    // Of a killed recorder there is nothing behind the frames.
    const QByteArray whole = readFile(path("v.movie"));
    const QByteArray fibersStart = startHeader(6, 0).left(10);
    const QByteArray killed = whole.left(whole.indexOf(fibersStart));
    ASSERT_LT(killed.size(), whole.size());
    writeFile(path("killed.movie"), killed);
    refuse(QStringLiteral("salvage"),
           {QStringLiteral("--set"), QStringLiteral("compression_type=bz2"),
            QStringLiteral("killed.movie")},
           "--like");
    EXPECT_EQ(readFile(path("killed.movie")), killed);
    succeed(QStringLiteral("salvage"),
            {QStringLiteral("--like"), QStringLiteral("v.movie"), QStringLiteral("killed.movie")});
    EXPECT_EQ(fact("killed.movie", "digest"), fact("v.movie", "digest"));
}

TEST_F(Examples, SalvageReportsEachPlaceThatIsLost) {
    drawDeep("a.png", 1);
    const QString a = QStringLiteral("a.png");
    succeed(QStringLiteral("record"), {QStringLiteral("whole.movie"), a, a, a});
    QByteArray damaged = readFile(path("whole.movie")).left(3 * 2432);
    damaged[2432] = 'x';
    writeFile(path("damaged.movie"), damaged + "torn");
    const QString out =
        succeed(QStringLiteral("salvage"), {QStringLiteral("--like"), QStringLiteral("whole.movie"),
                                            QStringLiteral("damaged.movie")})
            .simplified();
    EXPECT_TRUE(out.contains(QStringLiteral("frames kept 2"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("not kept at byte bytes"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("begins here 2432 2432"))) << out.toStdString();
    EXPECT_EQ(fact("damaged.movie", "frames"), QStringLiteral("2"));
}

TEST_F(Examples, DemoShowsThatEveryFormReadsBack) {
    const QString out =
        succeed(QStringLiteral("demo"), {QStringLiteral("--frames"), QStringLiteral("3")});
    EXPECT_EQ(out.count(QStringLiteral("every sample as recorded")), 5) << out.toStdString();
    EXPECT_EQ(QDir(path("movies")).entryList(QDir::Files).size(), 6);
    EXPECT_EQ(QDir(path("movies/pictures")).entryList(QDir::Files).size(), 15);
    refuse(QStringLiteral("demo"), {QStringLiteral("--frames"), QStringLiteral("3")},
           "raw.movie exists already");
}

TEST_F(Examples, DemoTakesSmallPictures) {
    ASSERT_TRUE(QDir(path("")).mkdir(QStringLiteral("pictures")));
    drawFlat("pictures/a.png", 10);
    drawFlat("pictures/b.png", 20);
    const QString out = succeed(QStringLiteral("demo"), {QStringLiteral("pictures")});
    EXPECT_EQ(out.count(QStringLiteral("every sample as recorded")), 5) << out.toStdString();
    refuse(QStringLiteral("demo"), {QStringLiteral("absent")}, "absent holds no picture");
}

TEST(Readme, QuotesTheFirstProgram) {
    const QByteArray readme = readFile(QStringLiteral(DATAIO_SOURCE_DIR "/README.md"));
    const QByteArray program =
        readFile(QStringLiteral(DATAIO_SOURCE_DIR "/examples/firstmovie.cpp"));
    EXPECT_TRUE(readme.contains("```cpp\n" + program + "```\n"));
}

}  // namespace
}  // namespace mz::test
