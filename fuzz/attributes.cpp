#include <libDataIO/attributechunk.h>
#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/frametimer.h>
#include <libDataIO/paldatagenerator.h>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <tests/support/attributetext.h>

namespace mz::fuzz {

using test::haveSameEntries;
using test::parsed;

namespace {

AttributeChunk parsedLatin1(const QByteArray& text) {
    AttributeChunk attributes;
    attributes.parseLatin1(text.constData(), text.size());
    return attributes;
}

void comeBackFromText(const AttributeChunk& attributes) {
    QString text;
    attributes.dump(text);
    require(haveSameEntries(parsed(text), attributes), "what was dumped parses to the same");
    QByteArray latin1;
    attributes.dumpLatin1(latin1);
    require(latin1 == text.toLatin1(), "both dumps say the same");
}

void readValues(const AttributeChunk& attributes) {
    for (const auto& [key, value] : attributes.attributes()) {
        require(!key.isEmpty() && !value._val.isEmpty(), "a line has a key and a value");
        int number = 1;
        float real = 1;
        char character = 0;
        require(attributes.get(key, number) || number == 0, "what is no number is 0");
        require(attributes.get(key, real) || real == 0, "what is no real number is 0");
        attributes.get(key, character);
    }
}

void readTimes(AttributeChunk attributes) {
    FrameTimer timer;
    if (timer.readFromChunkInfo(attributes) && !timer.empty()) {
        AttributeChunk stored;
        timer.dumpToChunkInfo(stored);
        FrameTimer again;
        require(again.readFromChunkInfo(stored) && again.size() == timer.size(),
                "times come back from attributes");
    }
    FrameTimer::removeFromAttChunk(attributes);
}

template <PalIndexType type>
void makeTable(const MzPalette& palette) {
    constexpr int blackening = MakeMinValueBlack | MakeSpecificValueBlack;
    std::vector<QRgb> table;
    PalDataGenerator<LerpQRGB<type>>()(palette, table, blackening, 1);
    require(palette._nodes.empty() == table.empty(), "a palette with nodes has a table");
}

void readPalette(const AttributeChunk& attributes, Choice& choice) {
    MzPalette palette;
    if (AttributePaletteAdaptor::attributesToPalette(attributes, palette, QString())) {
        AttributeChunk stored;
        AttributePaletteAdaptor::paletteToAttributes(palette, stored, QString());
        MzPalette again;
        require(AttributePaletteAdaptor::attributesToPalette(stored, again, QString()) &&
                    again._nodes.size() == palette._nodes.size(),
                "a palette comes back from attributes");
    }
    for (const auto transfer : {PTID, PTGAMMA, PTSIGMOID}) {
        palette._transfo = transfer;
        palette._saturationSignal = !palette._saturationSignal;
        if (choice.onceIn(4)) makeTable<IdxSigned8>(palette);
        if (choice.onceIn(4)) makeTable<IdxUnsigned8>(palette);
    }
    if (choice.onceIn(64)) makeTable<IdxSigned16>(palette);
    palette.adjustNodeValues(0.25F, 0.5F);
    if (choice.onceIn(64)) makeTable<IdxUnsigned16>(palette);
}

}  // namespace

void parseAttributes(const QByteArray& input, Choice choice) {
    const AttributeChunk attributes = parsedLatin1(input);
    const auto comesBack = [&] {
        require(haveSameEntries(attributes, parsed(QString::fromLatin1(input))),
                "bytes parse as their text does");
        comeBackFromText(attributes);
    };
    const auto merges = [&] {
        AttributeChunk merged;
        merged.set(QStringLiteral("width"), 1);
        merged.safeMerge(attributes, AttributeChunk::RemoveFrameTimer);
        int width = 0;
        require(merged.get(QStringLiteral("width"), width) && width == 1,
                "a safe merge replaces nothing");
        merged.merge(attributes);
        AttributeChunk::formatComment(QString::fromLatin1(input));
    };
    choice.doOne(
        comesBack, [&] { comeBackFromText(parsed(QString::fromUtf8(input))); },
        [&] { readValues(attributes); }, [&] { readTimes(attributes); },
        [&] { readPalette(attributes, choice); }, merges);
}

}  // namespace mz::fuzz
