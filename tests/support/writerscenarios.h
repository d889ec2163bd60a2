#pragma once

// Recordings and changes of movies, step by step, for tests that let one step fail.

#include <libDataIO/imagewriter.h>

#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <tests/support/files.h>
#include <tests/support/frames.h>

namespace mz::test {

constexpr int scenarioWidth = 8;
constexpr int scenarioHeight = 4;
constexpr int scenarioFrameBytes = scenarioWidth * scenarioHeight * 2;

struct Step {
    enum Kind {
        Create,     ///< opens a new file
        Ordinary,   ///< writes whole chunks behind the others, or nothing
        Overwrite,  ///< writes over a frame
        Reopen,     ///< opens a finished file
        Destroy     ///< ends the writer
    };
    std::string name;
    Kind kind;
    std::function<void(std::unique_ptr<ImageWriter>&, const QString& path)> run;
};

struct Scenario {
    std::string name;
    QByteArray initial;  ///< of the file; null: there is none
    std::vector<Step> steps;
};

inline std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
    return out << scenario.name;
}

/// A step that needs the writer alone.
template <class Action>
Step step(std::string name, Step::Kind kind, Action action) {
    return {std::move(name), kind,
            [action](std::unique_ptr<ImageWriter>& writer, const QString&) { action(*writer); }};
}

/// Differs from frame to frame and compresses badly enough to be worth several reads.
inline QByteArray scenarioFrame(int number, int samples = scenarioFrameBytes / 2) {
    return frame16(samples, static_cast<uint32_t>(number));
}

struct Recording {
    CompressionType::e compression = CompressionType::None;
    bool autotime = false;
    bool fibers = false;
    bool powers = true;
    int frames = 4;
};

inline void PrintTo(const Recording& recording, std::ostream* out) {
    *out << "compression " << recording.compression << ", " << recording.frames << " frames";
}

inline Step createStep(const Recording& recording) {
    return {"create", Step::Create,
            [recording](std::unique_ptr<ImageWriter>& writer, const QString& path) {
                writer->create(path, recording.autotime);
                writer->width(scenarioWidth);
                writer->height(scenarioHeight);
                writer->pixType(MZ_USHORT);
                writer->setCompression(recording.compression);
                writer->setComment(QStringLiteral("two\nlines"));
                if (recording.fibers)
                    writer->addRasterFiberContinuousIndexes({0, 0, 1.5F, 2, 3, 3.5F});
            }};
}

inline Step addStep(const Recording& recording, int number) {
    return step(
        "frame " + std::to_string(number), Step::Ordinary, [recording, number](ImageWriter& w) {
            const QByteArray frame = scenarioFrame(number);
            const float power = recording.powers ? 0.1F * static_cast<float>(number) : -1.0F;
            if (recording.autotime)
                w.addFrame(frame.constData(), power);
            else
                w.addFrame(frame.constData(), scenarioFrameBytes, timeval{100 + number, number},
                           power);
        });
}

inline Step closeStep() {
    return step("close", Step::Ordinary, [](ImageWriter& w) { w.close(); });
}

inline Step destroyStep() {
    return {"destroy", Step::Destroy,
            [](std::unique_ptr<ImageWriter>& writer, const QString&) { writer.reset(); }};
}

inline std::vector<Step> recordingSteps(const Recording& recording) {
    std::vector<Step> steps{createStep(recording)};
    for (int i = 0; i < recording.frames; ++i)
        steps.push_back(addStep(recording, i));
    return steps;
}

inline Step replaceStep(unsigned int index, int number) {
    return step("replace " + std::to_string(index), Step::Overwrite,
                [index, number](ImageWriter& w) {
                    w.replaceFrame(scenarioFrame(number).constData(), index, 0.5F);
                });
}

inline Step addAtEndStep(int number) {
    return step("frame at end " + std::to_string(number), Step::Ordinary, [number](ImageWriter& w) {
        w.addFrameAtEnd(scenarioFrame(number).constData(), scenarioFrameBytes, 0.25F);
    });
}

inline Step modifyStep() {
    return {"modify", Step::Reopen,
            [](std::unique_ptr<ImageWriter>& w, const QString& path) { w->modify(path); }};
}

inline Step modifyAttributeStep(const QString& comment) {
    return {"modifyAttribute", Step::Reopen,
            [comment](std::unique_ptr<ImageWriter>& w, const QString& path) {
                AttributeChunk attributes;
                attributes.set(QStringLiteral("endian"), 2);
                attributes.set(QStringLiteral("width"), scenarioWidth);
                attributes.set(QStringLiteral("comment"), comment);
                w->modifyAttribute(path, attributes);
            }};
}

inline std::vector<Step> operator+(std::vector<Step> steps, const std::vector<Step>& more) {
    steps.insert(steps.end(), more.begin(), more.end());
    return steps;
}

/// The bytes of a finished recording.
inline QByteArray movieOf(const Recording& recording) {
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    auto writer = std::make_unique<ImageWriter>();
    for (const Step& s : recordingSteps(recording) + std::vector<Step>{closeStep()})
        s.run(writer, path);
    return readFile(path);
}

}  // namespace mz::test
