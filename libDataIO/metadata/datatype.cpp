#include <libDataIO/metadata/datatype.h>
#include <libDataIO/base/framesize.h>

namespace mz {

void reconcileDataType(AttributeChunk& attributes, unsigned int frameSize) {
    int width = 0;
    int height = 0;
    int bits = 0;
    if (frameSize == 0 || !attributes.get(QStringLiteral("width"), width) ||
        !attributes.get(QStringLiteral("height"), height) ||
        !attributes.get(QStringLiteral("pixbits"), bits)) {
        return;
    }
    QString type;
    attributes.get(QStringLiteral("data_type"), type);
    const bool isVectorized = type == QLatin1String("vec");
    const bool hasImageSize = frameBytes(width, height, wholeBytes(bits)) == int64_t{frameSize};
    if (hasImageSize && isVectorized) {
        attributes.set(QStringLiteral("data_type"), QStringLiteral("imp"));
    } else if (!hasImageSize && !isVectorized) {
        attributes.set(QStringLiteral("data_type"), QStringLiteral("vec"));
    }
}

}  // namespace mz
