// Whoever changes the end of a file is killed at any byte: the file opens as it was or as it was to
// be, or it does not open and salvaging makes the one or the other of it.

#include <gtest/gtest.h>

#include <tests/support/damagedfiles.h>
#include <tests/support/killedstates.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qsizetype markSize = 16;

/// All that a reader sees of a movie.
struct View {
    std::string attributes;
    std::vector<QByteArray> frames;
    std::vector<long> times;
    std::vector<float> powers;
    std::vector<float> fibers;

    bool operator==(const View& other) const {
        return attributes == other.attributes && frames == other.frames && times == other.times &&
               powers == other.powers && fibers == other.fibers;
    }
};

void PrintTo(const View& view, std::ostream* out) {
    *out << view.frames.size() << " frames, " << view.times.size() << " times, "
         << view.powers.size() << " powers, " << view.fibers.size() << " fibre values\n"
         << view.attributes;
}

/// Fails where something that the movie lists cannot be read.
View viewOf(const QString& path) {
    ImageReader reader = ImageReader::withoutService(path);
    View view;
    QString text;
    reader.attributeChunk().dump(text);
    view.attributes = text.toStdString();
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, i);
        EXPECT_TRUE(size) << "frame " << i;
        if (size) view.frames.emplace_back(static_cast<const char*>(data), *size);
        if (const auto time = reader.getFrameTiming(i)) view.times.push_back(time->tv_sec);
        if (const auto power = reader.getLaserPower(i)) view.powers.push_back(*power);
    }
    reader.getRasterFiberContinuousIndexes(view.fibers, ImageReader::NoFiberFiltering);
    return view;
}

bool opens(const QString& path) {
    const LogCapture quiet;
    try {
        ImageReader::withoutService(path);
        return true;
    } catch (const IOFileException&) {
        return false;
    }
}

class Interrupted : public DamagedFiles {
protected:
    /// Notes what an action changes in the damaged file, and takes the views of both ends.
    template <class Action>
    std::vector<QByteArray> statesOfFile(const QByteArray& content, Action action) {
        writeAnew(damaged(), content);
        FaultLayer layer(damaged());
        layer.noteChanges();
        const LogCapture quiet;
        layer.during(action);
        const std::vector<QByteArray> states = statesOf(content, layer.changes());
        EXPECT_EQ(states.back(), readFile(damaged()));
        after = viewOf(damaged());
        return states;
    }

    View after;
};

// --- attributes ------------------------------------------------------------------------------

class InterruptedAttributes : public Interrupted, public testing::WithParamInterface<int> {};

TEST_P(InterruptedAttributes, AreThoseBeforeOrThoseAfter) {
    recordGood({});
    const View before = viewOf(good());
    const QString path = damaged();
    AttributeChunk changedAttributes = attributes;
    QString comment;
    attributes.get(QStringLiteral("comment"), comment);
    const auto length = comment.size() + GetParam();
    changedAttributes.set(QStringLiteral("comment"), QString(length, QLatin1Char('n')));
    const std::vector<QByteArray> states =
        statesOfFile(bytes, [&] { ImageWriter().modifyAttribute(path, changedAttributes); });
    ASSERT_FALSE(after == before);
    ASSERT_EQ(states.back().size(), bytes.size() + GetParam());

    // Nothing that is given may be what brings the attributes back.
    attributes = AttributeChunk();
    fibers.clear();
    int opened = 0;
    for (size_t i = 0; i < states.size(); ++i) {
        SCOPED_TRACE("state " + std::to_string(i) + " of " + std::to_string(states.size()));
        writeAnew(path, states[i]);
        if (opens(path)) {
            ++opened;
            const View view = viewOf(path);
            ASSERT_TRUE(view == before || view == after) << testing::PrintToString(view);
            continue;
        }
        salvageToOutput();
        ASSERT_EQ(viewOf(output()), before);
        // Cut back, it is the very file again.
        salvageInPlace();
        ASSERT_EQ(readFile(path), bytes);
    }
    EXPECT_GT(opened, 10);
}

INSTANTIATE_TEST_SUITE_P(Lengths, InterruptedAttributes,
                         testing::Values(-20, -1, 0, 1, 15, 16, 17, 40, 1000));

TEST_F(Interrupted, AttributesChangedBehindWhatAKilledProcessLeftAreNotLostByTheNextKill) {
    recordGood({});
    const QString path = damaged();
    const auto change = [&](const char* comment) {
        AttributeChunk changedAttributes = attributes;
        changedAttributes.set(QStringLiteral("comment"), QString::fromLatin1(comment));
        return [=] { ImageWriter().modifyAttribute(path, changedAttributes); };
    };
    // The movie opens with its new attributes, its old ones still in front of them.
    const std::vector<QByteArray> first = statesOfFile(bytes, change("first"));
    const auto left = std::find_if(first.begin(), first.end(), [&](const QByteArray& state) {
        writeAnew(path, state);
        return opens(path) && viewOf(path) == after;
    });
    ASSERT_NE(left, first.end());
    ASSERT_GT(left->size(), first.back().size());
    statesOfFile(*left, change("second"));
    const QByteArray content = readFile(path);
    const View before = after;
    const std::vector<QByteArray> states = statesOfFile(content, change("third, which is longer"));

    attributes = AttributeChunk();
    int salvaged = 0;
    for (size_t i = 0; i < states.size(); ++i) {
        SCOPED_TRACE("state " + std::to_string(i) + " of " + std::to_string(states.size()));
        writeAnew(path, states[i]);
        if (opens(path)) {
            const View view = viewOf(path);
            ASSERT_TRUE(view == before || view == after) << testing::PrintToString(view);
            continue;
        }
        ++salvaged;
        salvageToOutput();
        ASSERT_EQ(viewOf(output()), before);
        salvageInPlace();
        ASSERT_EQ(readFile(path), content);
    }
    EXPECT_GT(salvaged, 10);
}

TEST_F(Interrupted, AttributesAreNotMixedByAnyFailingCallEither) {
    recordGood({});
    AttributeChunk changedAttributes = attributes;
    changedAttributes.set(QStringLiteral("comment"), QString(300, QLatin1Char('n')));
    for (const Call call : {Call::Write, Call::Truncate, Call::Seek, Call::Close}) {
        for (int position = 1;; ++position) {
            const Fault fault{call, position, {EIO, 0}};
            SCOPED_TRACE(fault.text());
            ASSERT_LT(position, 100);
            writeAnew(damaged(), bytes);
            const LogCapture quiet;
            FaultLayer layer(damaged(), {fault});
            const QString path = damaged();
            try {
                layer.during([&] { ImageWriter().modifyAttribute(path, changedAttributes); });
            } catch (const IOFileException&) {
                EXPECT_EQ(readFile(damaged()), bytes);
            }
            if (layer.hits() == 0) {
                EXPECT_GT(position, 1) << "the call is never made";
                break;
            }
        }
    }
}

// --- salvage ---------------------------------------------------------------------------------

class InterruptedSalvage : public Interrupted {
protected:
    void SetUp() override {
        kind.frames = 4;
        recordGood(kind);
    }

    void expectSameOutcome(const QByteArray& content) {
        const std::vector<QByteArray> states = statesOfFile(content, [&] { salvageInPlace(); });
        int opened = 0;
        for (size_t i = 0; i < states.size(); ++i) {
            SCOPED_TRACE("state " + std::to_string(i) + " of " + std::to_string(states.size()));
            writeAnew(damaged(), states[i]);
            if (opens(damaged())) {
                ++opened;
                ASSERT_EQ(viewOf(damaged()), after);
                continue;
            }
            const SalvageReport copied = salvageToOutput();
            ASSERT_EQ(viewOf(output()), after);
            expectEachByteOnce(copied, states[i].size());
            const SalvageReport report = salvageInPlace();
            ASSERT_EQ(viewOf(damaged()), after);
            expectEachByteOnce(report, states[i].size());
            // Not only for readers: it is the file that the first salvage would have made.
            const bool isMarked = states[i].size() >= content.size() + markSize;
            if (isMarked) {
                ASSERT_EQ(readFile(damaged()), states.back());
            }
        }
        EXPECT_GE(opened, 2);
    }

    QByteArray framesAlone() const { return bytes.left(frameChunk(3).end()); }
};

TEST_F(InterruptedSalvage, OfARecordingThatWasKilledWithFibersGiven) {
    expectSameOutcome(framesAlone());
    expectSameOutcome(framesAlone() + startHeader(2, 256) + "torn");
    // Torn by more than the tail needs.
    expectSameOutcome(framesAlone() + startHeader(2, 5000) + QByteArray(4000, 't'));
    expectSameOutcome(framesAlone() + QByteArray(100, '\0'));
}

TEST_F(InterruptedSalvage, OfVectorizedFramesWithFibersGiven) {
    recordGood({zlib, true});
    expectSameOutcome(bytes.left(frameChunk(2).end()) + startHeader(2, 256) + "torn");
}

TEST_F(InterruptedSalvage, OfListsThatLoseEntries) {
    const QByteArray index = bytes.mid(static_cast<qsizetype>(infoChunk().offset) + 16,
                                       4 + 12 * static_cast<qsizetype>(movie.index.size()));
    const QByteArray info = startHeader(5, 5000) + index + "comment=torn\nwid";
    for (const QByteArray& end : {QByteArray(), startHeader(5, 5000), info}) {
        QByteArray content = withoutInfo() + end;
        content[static_cast<qsizetype>(frameChunk(1).offset)] = 'x';
        expectSameOutcome(content);
    }
}

TEST_F(InterruptedSalvage, OfAMovieWithATornFrameBehindIt) {
    expectSameOutcome(bytes + startHeader(2, 256) + "torn");
}

TEST_F(InterruptedSalvage, NeverTakesFramesForAnUnfinishedEnd) {
    // Somebody recorded on, behind a tail that had only been marked as unfinished.
    const QByteArray mark = startHeader(5, 0xffffffff);
    writeAnew(damaged(), framesAlone() + mark + chunk(2, frameOf(kind, 1)) + startHeader(2, 9));
    const SalvageReport report = salvageToOutput();
    EXPECT_EQ(report.framesKept, 5U);
    EXPECT_EQ(viewOf(output()).frames.back(), frameOf(kind, 1));
}

}  // namespace
