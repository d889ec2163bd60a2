#pragma once

// A finished recording, a damaged file made of it, and what is expected of salvaging it.

#include <libDataIO/imageutilities.h>

#include <QDir>
#include <QTemporaryDir>

#include <numeric>

#include <tests/support/bytes.h>
#include <tests/support/expectfailure.h>
#include <tests/support/files.h>
#include <tests/support/movieparser.h>
#include <tests/support/recordings.h>

namespace mz::test {

inline Failure salvageFailure(const char* code, const QString& message,
                              LogOrigin origin = SOFTWARE) {
    return {"dataio.imageutilities", origin, code, message};
}

/// File systems flush what is written into a file that was emptied, which takes its time.
inline void writeAnew(const QString& path, const QByteArray& bytes) {
    QFile::remove(path);
    writeFile(path, bytes);
}

inline QString noReadableFrame() {
    return QStringLiteral("No frame can be read with the given attributes.");
}

class DamagedFiles : public testing::Test {
protected:
    /// Records the movie from which damaged files are made.
    void recordGood(const RecordingKind& recorded) {
        kind = recorded;
        record(good(), kind);
        bytes = readFile(good());
        movie = soundMovie(good());
        attributes = ImageUtilities::attributesOf(good());
        fibers = ImageUtilities::fibersOf(good());
    }

    QString path(const char* name) const { return _dir.filePath(QString::fromLatin1(name)); }
    QString good() const { return path("good"); }
    QString damaged() const { return path("damaged"); }
    QString output() const { return path("output"); }

    const MovieChunk& frameChunk(int number) const {
        return movie.chunks[static_cast<size_t>(number)];
    }
    const MovieChunk& infoChunk() const { return movie.chunks.back(); }
    /// The movie without its info chunk, as a recorder leaves it that is killed while it closes.
    QByteArray withoutInfo() const {
        return bytes.left(static_cast<qsizetype>(infoChunk().offset));
    }
    std::vector<int> allFrames() const {
        std::vector<int> numbers(static_cast<size_t>(kind.frames));
        std::iota(numbers.begin(), numbers.end(), 0);
        return numbers;
    }
    std::vector<int> framesWithout(const std::vector<int>& lost) const {
        std::vector<int> numbers;
        for (const int number : allFrames()) {
            if (std::find(lost.begin(), lost.end(), number) == lost.end())
                numbers.push_back(number);
        }
        return numbers;
    }

    SalvageReport salvageInPlace() {
        const LogCapture quiet;
        return ImageUtilities::salvage(damaged(), attributes, fibers);
    }
    SalvageReport salvageToOutput() {
        const LogCapture quiet;
        return ImageUtilities::salvageTo(damaged(), output(), attributes, fibers);
    }

    /// Each byte of a damaged file was kept or is reported once.
    static void expectEachByteOnce(const SalvageReport& report, qint64 fileSize) {
        qint64 sum = report.bytesKept;
        qint64 end = 0;
        for (const SalvageGap& gap : report.gaps) {
            EXPECT_GE(gap.offset, end);
            end = gap.offset + gap.length;
            sum += gap.length;
        }
        EXPECT_LE(end, fileSize);
        EXPECT_EQ(sum, fileSize);
    }

    RecordingKind kind;
    QByteArray bytes;
    Movie movie;
    AttributeChunk attributes;
    std::vector<float> fibers;

private:
    QTemporaryDir _dir;
};

}  // namespace mz::test
