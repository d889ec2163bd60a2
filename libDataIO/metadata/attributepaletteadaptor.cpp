#include <libDataIO/attributechunk.h>
#include <libDataIO/attributepaletteadaptor.h>

namespace mz {

namespace {

/// The keys of one palette.
class PaletteKeys {
public:
    explicit PaletteKeys(const QString& prefix)
        : _prefix(prefix.isEmpty() ? prefix : prefix + QLatin1Char('_')) {}

    QString cropMin() const { return _prefix + QStringLiteral("pal_cropMin"); }
    QString cropMax() const { return _prefix + QStringLiteral("pal_cropMax"); }
    QString nodeCount() const { return _prefix + QStringLiteral("pal_nbcols"); }
    QString olderNodeCount() const { return _prefix + QStringLiteral("pal_nbnodes"); }
    QString name() const { return _prefix + QStringLiteral("pal_name"); }
    /// @param part "val", "r", "g" or "b"
    QString node(int index, const char* part) const {
        // Not arg on the whole key: a prefix may hold "%1" itself.
        return _prefix + QStringLiteral("pal_n") + QString::number(index) + QLatin1Char('_') +
               QLatin1String(part);
    }

private:
    QString _prefix;
};

bool readNode(const AttributeChunk& attributes, const PaletteKeys& keys, int index, PalNode& node) {
    if (!attributes.get(keys.node(index, "val"), node._val) ||
        !attributes.get(keys.node(index, "r"), node._col._r) ||
        !attributes.get(keys.node(index, "g"), node._col._g) ||
        !attributes.get(keys.node(index, "b"), node._col._b))
        return false;
    for (float* value : {&node._val, &node._col._r, &node._col._g, &node._col._b})
        *value = clampedToUnit(*value);
    return true;
}

/// Reads the nodes up to the first that is incomplete, so that a damaged count costs nothing.
bool readNodes(const AttributeChunk& attributes, const PaletteKeys& keys, int count,
               std::list<PalNode>& nodes) {
    PalNode node;
    int read = 0;
    while (read < count && readNode(attributes, keys, read, node)) {
        nodes.push_back(node);
        ++read;
    }
    // Stable: nodes at one position keep the order of their numbers.
    nodes.sort([](const PalNode& a, const PalNode& b) { return a._val < b._val; });
    return read >= count;
}

}  // namespace

void AttributePaletteAdaptor::paletteToAttributes(const MzPalette& palette,
                                                  AttributeChunk& attributes,
                                                  const QString& prefix) {
    const PaletteKeys keys(prefix);
    attributes.set(keys.cropMin(), palette._cropMinInt);
    attributes.set(keys.cropMax(), palette._cropMaxInt);
    attributes.set(keys.nodeCount(), static_cast<int>(palette._nodes.size()));
    attributes.set(keys.name(), palette._name);
    int index = 0;
    for (const PalNode& node : palette._nodes) {
        attributes.set(keys.node(index, "val"), clampedToUnit(node._val));
        attributes.set(keys.node(index, "r"), node._col._r);
        attributes.set(keys.node(index, "g"), node._col._g);
        attributes.set(keys.node(index, "b"), node._col._b);
        ++index;
    }
}

bool AttributePaletteAdaptor::attributesToPalette(const AttributeChunk& attributes,
                                                  MzPalette& palette, const QString& prefix) {
    const PaletteKeys keys(prefix);
    palette = MzPalette();
    int count = 0;
    if (!attributes.get(keys.nodeCount(), count) && !attributes.get(keys.olderNodeCount(), count))
        return false;
    if (!readNodes(attributes, keys, count, palette._nodes)) return false;

    attributes.get(keys.name(), palette._name);
    int crop = 0;
    if (attributes.get(keys.cropMin(), crop)) palette._cropMinInt = crop;
    if (attributes.get(keys.cropMax(), crop)) palette._cropMaxInt = crop;
    return true;
}

}  // namespace mz
