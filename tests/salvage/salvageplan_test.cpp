// What becomes of a damaged movie, without one: plans follow from what was found and given alone.

#include <libCommon/exceptions.h>
#include <libDataIO/salvage/salvageplan.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <tests/support/logcapture.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 framing = 32;

/// What a scan finds: chunks and gaps one behind the other.
class Remains {
public:
    Remains() { movie.scan.fileSize = 0; }

    Remains& chunk(unsigned int type, unsigned int size) {
        movie.scan.chunks.push_back({movie.scan.fileSize, type, size});
        movie.scan.fileSize += framing + size;
        return *this;
    }
    Remains& gap(qint64 length) { return add({movie.scan.fileSize, length, true, false}); }
    Remains& torn(qint64 length) { return add({movie.scan.fileSize, length, true, true}); }

    MovieRemains movie;

private:
    Remains& add(const ChunkGap& gap) {
        movie.scan.gaps.push_back(gap);
        movie.scan.fileSize += gap.length;
        return *this;
    }
};

AttributeChunk someAttributes() {
    AttributeChunk attributes;
    attributes.set(QStringLiteral("width"), 16);
    attributes.set(QStringLiteral("height"), 8);
    return attributes;
}

SalvagePlan planOf(const Remains& remains, SalvageMode mode, const std::vector<float>& fibers = {},
                   const AttributeChunk& attributes = someAttributes()) {
    return SalvagePlan::of(remains.movie, mode, attributes, fibers);
}

ChunkInfo infoOf(const SalvagePlan& plan) {
    const PlannedChunk& last = plan.tail().back();
    EXPECT_EQ(last.type, static_cast<unsigned int>(MZ_CT_INFO));
    const auto payload = std::get<QByteArray>(last.payload);
    EXPECT_EQ(qint64{last.size}, payload.size());
    ChunkInfo info;
    info.load(payload.constData(), last.size);
    return info;
}

std::vector<qint64> offsetsIn(const SalvagePlan& plan, unsigned int type) {
    const ChunkInfo info = infoOf(plan);
    std::vector<qint64> offsets;
    if (const auto* records = info.find(static_cast<int>(type))) {
        for (const ChunkRecord& record : *records)
            offsets.push_back(record.offset);
    }
    return offsets;
}

std::vector<unsigned int> typesOf(const std::vector<PlannedChunk>& chunks) {
    std::vector<unsigned int> types;
    for (const PlannedChunk& chunk : chunks)
        types.push_back(chunk.type);
    return types;
}

void expectEachByteOnce(const SalvagePlan& plan, const Remains& remains) {
    const SalvageReport report = plan.report();
    qint64 sum = report.bytesKept;
    qint64 end = 0;
    for (const SalvageGap& gap : report.gaps) {
        EXPECT_GE(gap.offset, end) << gap.why.toStdString();
        end = gap.offset + gap.length;
        sum += gap.length;
    }
    EXPECT_EQ(sum, remains.movie.scan.fileSize);
    qint64 kept = 0;
    for (const KeptChunk& chunk : plan.kept())
        kept += chunk.original.length();
    EXPECT_LE(kept, report.bytesKept);
}

using Types = std::vector<unsigned int>;
using Offsets = std::vector<qint64>;
using Places = std::vector<size_t>;

// --- in place --------------------------------------------------------------------------------

TEST(PlanInPlace, WritesTheInfoChunkAloneBehindWhatIsComplete) {
    Remains remains;
    remains.chunk(2, 100).chunk(2, 200).chunk(6, 16).chunk(7, 16).chunk(8, 2).torn(50);
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    EXPECT_EQ(typesOf(plan.tail()), (Types{5}));
    EXPECT_EQ(plan.tail()[0].offset, remains.movie.scan.fileSize);
    EXPECT_EQ(offsetsIn(plan, 2), (Offsets{0, 132}));
    EXPECT_EQ(offsetsIn(plan, 6), (Offsets{364}));
    EXPECT_EQ(offsetsIn(plan, 7), (Offsets{412}));
    EXPECT_EQ(offsetsIn(plan, 8), (Offsets{460}));
    EXPECT_EQ(plan.report().framesKept, 2U);
    EXPECT_EQ(plan.report().bytesCut, 50);
    expectEachByteOnce(plan, remains);
}

TEST(PlanInPlace, WritesListsAnewThatHaveEntriesOfLostFrames) {
    Remains remains;
    remains.chunk(2, 100).gap(132).chunk(2, 100).chunk(7, 24).chunk(8, 3);
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    ASSERT_EQ(typesOf(plan.tail()), (Types{7, 8, 5}));
    for (size_t i = 0; i < 2; ++i) {
        const auto& left = std::get<LeftEntries>(plan.tail()[i].payload);
        EXPECT_EQ(left.list.offset, remains.movie.scan.chunks[2 + i].offset);
        EXPECT_EQ(left.entrySize, i == 0 ? 8U : 1U);
        EXPECT_EQ(left.places, (Places{0, 2}));
        EXPECT_EQ(plan.tail()[i].size, 2 * left.entrySize);
    }
    const qint64 end = remains.movie.scan.fileSize;
    EXPECT_EQ(offsetsIn(plan, 7), (Offsets{end}));
    EXPECT_EQ(offsetsIn(plan, 8), (Offsets{end + framing + 16}));
    EXPECT_EQ(plan.tail()[2].offset, end + framing + 16 + framing + 2);
    EXPECT_EQ(plan.tailSize(), 3 * framing + 16 + 2 + qint64{plan.tail()[2].size});
    expectEachByteOnce(plan, remains);
}

TEST(PlanInPlace, MovesItsTailAndNothingElse) {
    Remains remains;
    remains.chunk(2, 100).gap(132).chunk(2, 100).chunk(8, 3).torn(500);
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    const qint64 soundEnd = remains.movie.scan.soundEnd();
    const SalvagePlan moved = plan.withTailAt(soundEnd);
    EXPECT_EQ(offsetsIn(moved, 2), offsetsIn(plan, 2));
    EXPECT_EQ(offsetsIn(plan, 8), (Offsets{remains.movie.scan.fileSize}));
    EXPECT_EQ(offsetsIn(moved, 8), (Offsets{soundEnd}));
    EXPECT_EQ(moved.tail()[1].offset, soundEnd + framing + 2);
    EXPECT_EQ(moved.tailSize(), plan.tailSize());
    // One without a frame more has its tail there as well.
    EXPECT_EQ(moved.without({{0, QString()}}).tail()[0].offset, soundEnd);
}

TEST(PlanInPlace, TellsTheLostFramesByTheLongestListAndLetsTheOtherStand) {
    // Of five frames the third is damaged; the powers ended after two.
    Remains remains;
    remains.chunk(2, 100).chunk(2, 100).gap(132).chunk(2, 100).chunk(2, 100).chunk(7, 40);
    const qint64 powers = remains.movie.scan.fileSize;
    remains.chunk(8, 2);
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    ASSERT_EQ(typesOf(plan.tail()), (Types{7, 5}));
    EXPECT_EQ(std::get<LeftEntries>(plan.tail()[0].payload).places, (Places{0, 1, 3, 4}));
    EXPECT_EQ(offsetsIn(plan, 8), (Offsets{powers}));
    expectEachByteOnce(plan, remains);
}

TEST(PlanInPlace, LetsListsStandWhoseEntriesCannotBeTold) {
    // One has more entries than there are frames, of which none is missing.
    Remains longer;
    longer.chunk(2, 100).chunk(2, 100).chunk(7, 40);
    EXPECT_EQ(typesOf(planOf(longer, SalvageMode::InPlace).tail()), (Types{5}));
    // The other ends inside an entry.
    Remains odd;
    odd.chunk(2, 100).gap(132).chunk(2, 100).chunk(7, 27);
    const SalvagePlan plan = planOf(odd, SalvageMode::InPlace);
    EXPECT_EQ(typesOf(plan.tail()), (Types{5}));
    EXPECT_EQ(offsetsIn(plan, 7), (Offsets{396}));
}

TEST(PlanInPlace, TakesTheLaterOfTwoLists) {
    Remains remains;
    remains.chunk(2, 100).chunk(7, 8).chunk(8, 1).chunk(7, 8);
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    EXPECT_EQ(offsetsIn(plan, 7), (Offsets{132 + 40 + 33}));
    ASSERT_EQ(plan.report().gaps.size(), 1U);
    EXPECT_EQ(plan.report().gaps[0].offset, 132);
}

TEST(PlanInPlace, CutsAnUnfinishedEndAndSaysSo) {
    Remains remains;
    remains.chunk(2, 100).chunk(8, 1).torn(50);
    const SalvagePlan before = planOf(remains, SalvageMode::InPlace);
    remains.movie.scan.unfinishedBytes = 300;
    for (const SalvageMode mode : {SalvageMode::InPlace, SalvageMode::Copy}) {
        const SalvagePlan plan = planOf(remains, mode);
        ASSERT_EQ(plan.report().gaps.size(), 2U);
        EXPECT_EQ(plan.report().gaps[1].offset, remains.movie.scan.fileSize);
        EXPECT_EQ(plan.report().gaps[1].length, 300);
        EXPECT_EQ(plan.report().gaps[1].why.toStdString(),
                  "unfinished end, left by somebody who was interrupted");
        EXPECT_EQ(plan.report().bytesCut, 350);
        EXPECT_EQ(plan.report().bytesKept, 132 + 33);
    }
    EXPECT_EQ(planOf(remains, SalvageMode::InPlace).tail()[0].offset, before.tail()[0].offset);
}

TEST(PlanInPlace, SaysWhatTheSystemDoesNotGive) {
    Remains remains;
    remains.chunk(2, 100).gap(40).chunk(2, 100);
    remains.movie.scan.gaps[0].readError = EIO;
    remains.movie.unreadable = {{{remains.movie.scan.fileSize, 8, 1}, EACCES}};
    remains.movie.scan.fileSize += 33;
    const SalvagePlan plan = planOf(remains, SalvageMode::Copy);
    ASSERT_EQ(plan.report().gaps.size(), 2U);
    EXPECT_EQ(plan.report().gaps[0].why.toStdString(),
              std::string("bytes that cannot be read: ") + strerror(EIO));
    EXPECT_EQ(plan.report().gaps[1].why.toStdString(),
              std::string("bytes that cannot be read: ") + strerror(EACCES));
    expectEachByteOnce(plan, remains);
}

TEST(PlanInPlace, LetsTheOwnInfoChunkStandThatSaysTheSame) {
    Remains remains;
    remains.chunk(2, 100).chunk(8, 1);
    const QByteArray payload =
        std::get<QByteArray>(planOf(remains, SalvageMode::InPlace).tail().back().payload);
    remains.chunk(5, static_cast<unsigned int>(payload.size())).torn(40);
    remains.movie.wholeInfoPayload = payload;
    const SalvagePlan plan = planOf(remains, SalvageMode::InPlace);
    EXPECT_TRUE(plan.ownInfoStands());
    EXPECT_EQ(plan.report().gaps.size(), 1U);
    expectEachByteOnce(plan, remains);

    const SalvagePlan copy = planOf(remains, SalvageMode::Copy);
    EXPECT_FALSE(copy.ownInfoStands());
    expectEachByteOnce(copy, remains);

    const SalvagePlan less = plan.without({{0, QString()}});
    EXPECT_FALSE(less.ownInfoStands());
    EXPECT_EQ(less.report().gaps[1].why.toStdString(), "info chunk, replaced by a new one");
    expectEachByteOnce(less, remains);

    remains.movie.wholeInfoPayload[5] = 'x';
    EXPECT_FALSE(planOf(remains, SalvageMode::InPlace).ownInfoStands());
    remains.movie.wholeInfoPayload = payload;
    remains.gap(10);
    EXPECT_FALSE(planOf(remains, SalvageMode::InPlace).ownInfoStands());
}

// --- into a copy -----------------------------------------------------------------------------

TEST(PlannedCopy, HoldsFramesThenOthersThenTheTailWithoutGaps) {
    Remains remains;
    remains.chunk(3, 10).gap(7).chunk(2, 100).chunk(77, 5).chunk(2, 50).chunk(6, 16).chunk(8, 2);
    const SalvagePlan plan = planOf(remains, SalvageMode::Copy);
    Types types;
    qint64 end = 0;
    for (const KeptChunk& chunk : plan.kept()) {
        types.push_back(chunk.original.type);
        EXPECT_EQ(chunk.offset, end);
        end += chunk.original.length();
    }
    EXPECT_EQ(types, (Types{2, 2, 3, 77}));
    EXPECT_EQ(typesOf(plan.tail()), (Types{6, 8, 5}));
    for (const PlannedChunk& chunk : plan.tail()) {
        EXPECT_EQ(chunk.offset, end);
        end += framing + chunk.size;
    }
    EXPECT_EQ(std::get<ChunkSpan>(plan.tail()[0].payload).offset,
              remains.movie.scan.chunks[4].offset);
    EXPECT_EQ(offsetsIn(plan, 2), (Offsets{0, 132}));
    EXPECT_EQ(offsetsIn(plan, 3), (Offsets{214}));
    EXPECT_EQ(offsetsIn(plan, 77), (Offsets{256}));
    EXPECT_EQ(plan.report().bytesCut, 7);
    expectEachByteOnce(plan, remains);
}

TEST(PlannedCopy, LeavesOutFramesThatDoNotFitWithTheirEntries) {
    Remains remains;
    remains.chunk(2, 0x90000000U).chunk(2, 0x70000000U).chunk(2, 0x60000000U).chunk(8, 3);
    const SalvagePlan plan = planOf(remains, SalvageMode::Copy);
    ASSERT_EQ(plan.frameCount(), 2U);
    EXPECT_EQ(plan.kept()[1].original.size, 0x60000000U);
    EXPECT_EQ(std::get<LeftEntries>(plan.tail()[0].payload).places, (Places{0, 2}));
    ASSERT_EQ(plan.report().gaps.size(), 1U);
    EXPECT_EQ(plan.report().gaps[0].offset, 0x90000020);
    EXPECT_EQ(plan.report().gaps[0].why.toStdString(), "beyond what an index can address");
    expectEachByteOnce(plan, remains);
}

TEST(PlannedCopy, IsAsLongAsAnIndexCanAddressAndNoLonger) {
    constexpr qint64 largest = 0xffffffff;
    Remains small;
    small.chunk(2, 10);
    const qint64 tail = planOf(small, SalvageMode::Copy).tailSize();
    for (const int beyond : {0, 1}) {
        Remains remains;
        remains.chunk(2, static_cast<unsigned int>(largest - tail - framing + beyond));
        const SalvagePlan plan = planOf(remains, SalvageMode::Copy);
        EXPECT_EQ(plan.frameCount(), beyond == 0 ? 1U : 0U);
        if (beyond == 0) {
            EXPECT_EQ(plan.tail().back().offset + tail, largest);
        }
    }
}

// --- both ------------------------------------------------------------------------------------

TEST(SalvagePlan, WithoutAFrameIsAnotherPlan) {
    Remains remains;
    remains.chunk(2, 100).chunk(2, 200).chunk(2, 300).chunk(7, 24).chunk(8, 3);
    const SalvagePlan plan = planOf(remains, SalvageMode::Copy);
    const SalvagePlan left = plan.without({{0, QStringLiteral("one")}, {2, QStringLiteral("two")}});
    EXPECT_EQ(plan.frameCount(), 3U);
    EXPECT_TRUE(plan.report().gaps.empty());
    EXPECT_EQ(plan.tail()[0].size, 24U);

    ASSERT_EQ(left.frameCount(), 1U);
    EXPECT_EQ(left.kept()[0].original.size, 200U);
    EXPECT_EQ(left.kept()[0].offset, 0);
    EXPECT_EQ(std::get<LeftEntries>(left.tail()[0].payload).places, (Places{1}));
    EXPECT_EQ(left.tail()[0].offset, 232);
    ASSERT_EQ(left.report().gaps.size(), 2U);
    EXPECT_EQ(left.report().gaps[0].why.toStdString(), "one");
    EXPECT_EQ(left.report().gaps[1].why.toStdString(), "two");
    EXPECT_EQ(left.report().gaps[1].offset, 364);
    expectEachByteOnce(left, remains);

    const SalvagePlan none = left.without({{0, QStringLiteral("three")}});
    EXPECT_EQ(none.frameCount(), 0U);
    EXPECT_EQ(none.report().gaps.size(), 3U);
    expectEachByteOnce(none, remains);
}

TEST(SalvagePlan, CarriesEveryKindOfTrailingChunkInTheOrderOfTheirTable) {
    Remains remains;
    remains.chunk(2, 100);
    Types kinds;
    for (auto kind = trailingChunks.rbegin(); kind != trailingChunks.rend(); ++kind) {
        const unsigned int size =
            kind->bytesPerFrame > 0 ? static_cast<unsigned int>(kind->bytesPerFrame) : 8;
        if (kind->type != MZ_CT_INFO) remains.chunk(kind->type, size);
        kinds.insert(kinds.begin(), kind->type);
    }
    const SalvagePlan copy = planOf(remains, SalvageMode::Copy);
    EXPECT_EQ(typesOf(copy.tail()), kinds);
    EXPECT_EQ(copy.kept().size(), 1U);
    const SalvagePlan inPlace = planOf(remains, SalvageMode::InPlace);
    for (const unsigned int kind : kinds) {
        if (kind == MZ_CT_INFO) continue;
        EXPECT_EQ(offsetsIn(copy, kind).size(), 1U) << kind;
        EXPECT_EQ(offsetsIn(inPlace, kind).size(), 1U) << kind;
    }
    for (const SalvagePlan& plan : {copy, inPlace}) {
        EXPECT_TRUE(plan.report().gaps.empty());
        expectEachByteOnce(plan, remains);
    }
}

TEST(SalvagePlan, TakesGivenFibersForAMovieThatHasNone) {
    const std::vector<float> fibers = {1.0F, 2.0F, 3.0F, 4.0F};
    Remains remains;
    remains.chunk(2, 100);
    for (const SalvageMode mode : {SalvageMode::InPlace, SalvageMode::Copy}) {
        const SalvagePlan plan = planOf(remains, mode, fibers);
        ASSERT_EQ(typesOf(plan.tail()), (Types{6, 5}));
        EXPECT_EQ(plan.tail()[0].size, 16U);
        EXPECT_EQ(offsetsIn(plan, 6), (Offsets{132}));
        EXPECT_EQ(planOf(remains, mode).tail().size(), 1U);
        const LogCapture quiet;
        EXPECT_THROW(planOf(remains, mode, fibers, AttributeChunk()), IOFileException);
    }
    remains.chunk(6, 8);
    const SalvagePlan plan = planOf(remains, SalvageMode::Copy, fibers, AttributeChunk());
    EXPECT_EQ(plan.tail()[0].size, 8U);
}

}  // namespace
