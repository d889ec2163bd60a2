#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <fuzz/support/input.h>
#include <fuzz/support/memoryfile.h>

namespace mz::fuzz {

namespace {

/// What a caller gives when the script says nothing.
AttributeChunk givenAttributes(const QByteArray& script) {
    AttributeChunk attributes;
    attributes.set(QStringLiteral("width"), 4);
    attributes.set(QStringLiteral("height"), 3);
    attributes.set(QStringLiteral("pixbits"), 16);
    attributes.parseLatin1(script.constData(), script.size());
    return attributes;
}

/// @return the number of frames in the index
unsigned int checkSalvaged(const QString& path, const SalvageReport& report) {
    ImageReader reader;
    require(succeeds([&] { reader.open(path); }), "what was salvaged opens");
    unsigned int readable = 0;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        if (succeedsOnFrames([&] { reader.getRawFrame(data, i); })) ++readable;
    }
    require(report.framesKept == (report.wasSound ? reader.nbFrames() : readable),
            "the frames that were kept are those that can be read");
    return reader.nbFrames();
}

void checkGaps(const SalvageReport& report, qsizetype size) {
    qint64 end = 0;
    for (const SalvageGap& gap : report.gaps) {
        require(gap.offset >= end && gap.length > 0, "gaps come in order");
        end = gap.offset + gap.length;
    }
    require(end <= size, "gaps lie inside the file");
}

void salvageCopy(const QByteArray& movie, const AttributeChunk& attributes) {
    const MemoryFile damaged(movie);
    const MemoryName output;
    SalvageReport report;
    const bool salvaged = succeeds(
        [&] { report = ImageUtilities::salvageTo(damaged.path(), output.path(), attributes); });
    require(damaged.bytes() == movie, "the damaged file stays");
    require(salvaged == output.exists(), "there is an output or a failure");
    if (!salvaged) return;
    checkSalvaged(output.path(), report);
    checkGaps(report, movie.size());
    require(report.bytesKept + report.bytesCut == movie.size(), "every byte is accounted for");
}

void salvageFile(const QByteArray& movie, const AttributeChunk& attributes, Choice& choice) {
    const MemoryFile file(movie);
    SalvageReport report;
    const bool salvaged =
        succeeds([&] { report = ImageUtilities::salvage(file.path(), attributes); });
    const QByteArray after = file.bytes();
    require(salvaged ? after.startsWith(movie.left(movie.size() - report.bytesCut))
                     : movie.startsWith(after),
            "nothing is cut but the end");
    if (!salvaged) return;
    checkGaps(report, movie.size());
    const unsigned int frames = checkSalvaged(file.path(), report);

    if (!choice.onceIn(4)) return;
    const SalvageReport again = ImageUtilities::salvage(file.path(), attributes);
    require(again.wasSound && again.framesKept == frames && file.bytes() == after,
            "what was salvaged is sound");
}

}  // namespace

void salvageMovie(const QByteArray& input, Choice choice) {
    if (claimsLargeFrames(input)) return;
    const auto [script, movie] = splitInput(input);
    const AttributeChunk attributes = givenAttributes(script);
    const auto inPlace = [&, &bytes = movie] { salvageFile(bytes, attributes, choice); };
    const auto intoCopy = [&, &bytes = movie] { salvageCopy(bytes, attributes); };
    choice.doOne(inPlace, intoCopy);
    if (!choice.onceIn(16)) return;
    const MemoryFile file(movie);
    succeeds([&] { ImageUtilities::attributesOf(file.path()); });
}

}  // namespace mz::fuzz
