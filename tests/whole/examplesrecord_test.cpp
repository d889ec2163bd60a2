// The example program that makes movies of pictures.

#include <QCryptographicHash>
#include <QFileInfo>
#include <QImage>

#include <tests/support/bytes.h>
#include <tests/support/examples.h>
#include <tests/support/files.h>

namespace mz::test {
namespace {

TEST_F(Examples, RecordedPicturesComeBackAsTheyWere) {
    drawDeep("a.png", 1);
    drawDeep("b.png", 2);
    for (const char* compression : {"none", "z", "gz", "bz2"}) {
        succeed(
            QStringLiteral("record"),
            {QStringLiteral("--compression"), QLatin1String(compression), QStringLiteral("--force"),
             QStringLiteral("m.movie"), QStringLiteral("a.png"), QStringLiteral("b.png")});
        succeed(QStringLiteral("extract"),
                {QStringLiteral("--force"), QStringLiteral("m.movie"), QStringLiteral(".")});
        EXPECT_EQ(QImage(path("m-000000.png")), QImage(path("a.png"))) << compression;
        EXPECT_EQ(QImage(path("m-000001.png")), QImage(path("b.png"))) << compression;
    }
}

TEST_F(Examples, NamesWithPercentSignsStayAsTheyAre) {
    const QString movie = QStringLiteral("%2 %3.movie");
    const QString copy = QStringLiteral("%1 %4.movie");
    drawDeep("a.png", 1);
    const auto expectNamed = [](const QString& printed, const QString& name) {
        EXPECT_TRUE((u'\n' + printed).contains(u'\n' + name)) << printed.toStdString();
    };
    expectNamed(succeed(QStringLiteral("record"), {movie, QStringLiteral("a.png")}),
                movie + QStringLiteral(": 1 frames of 40 x 30 pixels"));
    expectNamed(succeed(QStringLiteral("recompress"), {movie, copy}), copy + QStringLiteral(": "));
    succeed(QStringLiteral("extract"), {movie, QStringLiteral(".")});
    EXPECT_TRUE(QFileInfo::exists(path("%2 %3-000000.png")));
    expectNamed(succeed(QStringLiteral("ring"), {QStringLiteral("--force"), movie}),
                movie + QStringLiteral(" holds frames "));
}

TEST_F(Examples, RecordTakesFoldersInTheOrderOfNames) {
    ASSERT_TRUE(QDir(path("")).mkdir(QStringLiteral("pictures")));
    drawFlat("pictures/b.png", 20);
    drawFlat("pictures/a.png", 10);
    writeFile(path("pictures/notes.txt"), "not a picture");
    succeed(QStringLiteral("record"), {QStringLiteral("m.movie"), QStringLiteral("pictures")});
    EXPECT_EQ(fact("m.movie", "frames"), QStringLiteral("2"));
    EXPECT_EQ(fact("m.movie", "pixel type"), QStringLiteral("MZ_UCHAR, 8 bits"));
    const QByteArray frames = QByteArray(40 * 30, 10) + QByteArray(40 * 30, 20);
    EXPECT_EQ(fact("m.movie", "digest").toLatin1(),
              QCryptographicHash::hash(frames, QCryptographicHash::Sha256).toHex());
}

TEST_F(Examples, RecordWidensSmallPicturesWithinADeepSeries) {
    drawFlat("a.png", 255);
    drawDeep("b.png", 1);
    succeed(QStringLiteral("record"),
            {QStringLiteral("m.movie"), QStringLiteral("a.png"), QStringLiteral("b.png")});
    EXPECT_EQ(fact("m.movie", "pixel type"), QStringLiteral("MZ_USHORT, 16 bits"));
    succeed(QStringLiteral("extract"), {QStringLiteral("m.movie"), QStringLiteral(".")});
    const QImage white(path("m-000000.png"));
    EXPECT_EQ(reinterpret_cast<const std::uint16_t*>(white.constScanLine(0))[0], 65535);
}

TEST_F(Examples, RecordKeepsCommentAndPeriod) {
    drawDeep("a.png", 1);
    succeed(QStringLiteral("record"),
            {QStringLiteral("--comment"), QStringLiteral("first line\nsecond line"),
             QStringLiteral("--period"), QStringLiteral("250"), QStringLiteral("m.movie"),
             QStringLiteral("a.png"), QStringLiteral("a.png"), QStringLiteral("a.png")});
    EXPECT_EQ(fact("m.movie", "comment"), QStringLiteral("first line"));
    EXPECT_EQ(fact("m.movie", "duration"), QStringLiteral("0.500 s from first to last frame"));
    EXPECT_EQ(fact("m.movie", "frame rate"), QStringLiteral("4.00 frames/s"));
}

TEST_F(Examples, RecordRefusesToCompressSmallPixelsAndSaysWhy) {
    drawFlat("a.png", 1);
    refuse(QStringLiteral("record"),
           {QStringLiteral("--compression"), QStringLiteral("gz"), QStringLiteral("m.movie"),
            QStringLiteral("a.png")},
           "a compressed frame always reads back as 16-bit samples");
    EXPECT_EQ(files(), QStringList(QStringLiteral("a.png")));
    succeed(QStringLiteral("record"),
            {QStringLiteral("--compression"), QStringLiteral("gz"), QStringLiteral("--bits"),
             QStringLiteral("16"), QStringLiteral("m.movie"), QStringLiteral("a.png")});
}

TEST_F(Examples, RecordNamesThePictureThatDoesNotFit) {
    drawDeep("a.png", 1);
    drawDeep("other.png", 1, 41, 30);
    refuse(QStringLiteral("record"),
           {QStringLiteral("m.movie"), QStringLiteral("a.png"), QStringLiteral("other.png")},
           "other.png has 41 x 30 pixels, but the first picture has 40 x 30");
    EXPECT_FALSE(QFileInfo::exists(path("m.movie")));
}

TEST_F(Examples, RecordLeavesNothingBehindWhenAPictureIsDamaged) {
    drawDeep("a.png", 1);
    writeFile(path("b.pgm"), "P5\n40 30\n255\nonly the first pixels");
    refuse(QStringLiteral("record"),
           {QStringLiteral("m.movie"), QStringLiteral("a.png"), QStringLiteral("b.pgm")}, "b.pgm");
    EXPECT_EQ(files(), QStringList({QStringLiteral("a.png"), QStringLiteral("b.pgm")}));
}

TEST_F(Examples, RecordRefusesBadInput) {
    drawDeep("a.png", 1);
    const QString movie = QStringLiteral("m.movie");
    const QString picture = QStringLiteral("a.png");
    const auto record = QStringLiteral("record");
    refuse(record, {}, "give a movie to write and at least one picture");
    refuse(record, {movie}, "give a movie to write and at least one picture");
    refuse(record, {picture, picture}, "a.png is a picture; name the movie to write first");
    refuse(record, {movie, QStringLiteral("absent.png")}, "absent.png cannot be read as a picture");
    refuse(record, {QStringLiteral("--compression"), QStringLiteral("zip"), movie, picture},
           "--compression takes none, z, gz or bz2, not \"zip\"");
    refuse(record, {QStringLiteral("--period"), QStringLiteral("0"), movie, picture},
           "--period takes a whole number from 1");
    refuse(record, {QStringLiteral("--bits"), QStringLiteral("8"), movie, picture},
           "would lose half of them");
    refuse(record, {QStringLiteral("absent/m.movie"), picture}, "FW_OF_OPEN");
    EXPECT_EQ(files(), QStringList(picture));
}

}  // namespace
}  // namespace mz::test
