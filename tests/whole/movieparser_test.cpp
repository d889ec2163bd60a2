// The tests' own parser must see each way in which a movie can be wrong, or the tests that lean on
// it see nothing.

#include <gtest/gtest.h>

#include <tests/support/bytes.h>
#include <tests/support/movieparser.h>

namespace mz::test {
namespace {

QByteArray info(const QByteArray& records, const QByteArray& text = "endian=2\n") {
    return chunk(5, le32(static_cast<uint32_t>(records.size() / 12)) + records + text);
}

std::string firstProblem(const QByteArray& bytes) {
    const Movie movie = parseMovie(bytes);
    return movie.problems.empty() ? "" : movie.problems.front();
}

TEST(MovieParser, ReadsEveryPartOfASoundMovie) {
    const QByteArray frames = chunk(2, "ab") + chunk(2, "");
    const QByteArray trailing =
        chunk(6, le32(1) + le32(2)) + chunk(7, le32(uint32_t(-5)) + le32(6)) + chunk(8, "\x7f\xff");
    const QByteArray index = indexRecord(2, 34, 0) + indexRecord(2, 0, 2) + indexRecord(6, 66, 8) +
                             indexRecord(7, 106, 8) + indexRecord(8, 146, 2);
    const Movie movie = parseMovie(frames + trailing + info(index, "a=1\nb=c=d\n"));
    EXPECT_TRUE(movie.problems.empty());
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 2, 6, 7, 8, 5}));
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"", "ab"}));
    EXPECT_EQ(movie.fiberWords, (std::vector<uint32_t>{1, 2}));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{-5, 6}}));
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 255}));
    EXPECT_EQ(movie.attribute("b"), "c=d");
    EXPECT_EQ(movie.text.size(), 2U);
}

TEST(MovieParser, SeesDamagedFraming) {
    const QByteArray sound = chunk(2, "ab") + info(indexRecord(2, 0, 2));
    ASSERT_EQ(firstProblem(sound), "");
    EXPECT_EQ(firstProblem("x" + sound), "no start header at 0");
    EXPECT_EQ(firstProblem(sound + "x"), "no start header at " + std::to_string(sound.size()));
    EXPECT_EQ(firstProblem(sound.left(sound.size() - 1)), "no end header at 75");
    QByteArray other = sound;
    other[18 + 9] = 3;  // the type in the first end header
    EXPECT_EQ(firstProblem(other), "end header differs from start header at 18");
    other = sound;
    other[18 + 13] = 1;  // the size there
    EXPECT_EQ(parseMovie(other).problems.size(), 2U);
    EXPECT_EQ(firstProblem(QByteArray()), "last chunk is no info chunk at 0");
}

TEST(MovieParser, SeesChunksOutOfOrder) {
    EXPECT_EQ(firstProblem(chunk(8, "a") + chunk(7, "") +
                           info(indexRecord(7, 33, 0) + indexRecord(8, 0, 1))),
              "chunk of type 7 out of order at 33");
    EXPECT_EQ(firstProblem(chunk(8, "") + chunk(8, "") +
                           info(indexRecord(8, 0, 0) + indexRecord(8, 32, 0))),
              "chunk of type 8 out of order at 32");
    EXPECT_EQ(firstProblem(chunk(3, "") + info(indexRecord(3, 0, 0))),
              "chunk of type 3 out of order at 0");
    EXPECT_EQ(firstProblem(chunk(2, "")), "last chunk is no info chunk at 32");
}

TEST(MovieParser, SeesIndexesThatDoNotFit) {
    const QByteArray frame = chunk(2, "ab");
    EXPECT_EQ(firstProblem(frame + info("")), "chunk not listed at 0");
    EXPECT_EQ(firstProblem(frame + info(indexRecord(2, 0, 3))),
              "record leads to no such chunk at 0");
    EXPECT_EQ(firstProblem(frame + info(indexRecord(2, 1, 2))),
              "record leads to no such chunk at 1");
    EXPECT_EQ(firstProblem(frame + info(indexRecord(2, 0, 2) + indexRecord(2, 0, 2))),
              "chunk listed twice at 0");
    EXPECT_EQ(firstProblem(chunk(2, "") + chunk(6, "") +
                           info(indexRecord(6, 32, 0) + indexRecord(2, 0, 0))),
              "record types descend at 1");
    EXPECT_EQ(firstProblem(chunk(5, le32(1))), "index leaves its chunk at 36");
}

TEST(MovieParser, SeesDamagedAttributesAndPayloads) {
    EXPECT_EQ(firstProblem(info("", "a=1")), "attributes end in a line at 39");
    EXPECT_EQ(firstProblem(info("", "b=1\na=1\n")), "keys descend at a at 44");
    EXPECT_EQ(firstProblem(info("", "=1\n")), "no key in line \"=1\" at 39");
    EXPECT_EQ(firstProblem(chunk(6, "abcde") + info(indexRecord(6, 0, 5))),
              "fibres of broken words at 0");
    EXPECT_EQ(firstProblem(chunk(7, "abcd") + info(indexRecord(7, 0, 4))),
              "times of broken records at 0");
}

}  // namespace
}  // namespace mz::test
