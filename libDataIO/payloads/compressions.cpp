#include <libDataIO/payloads/compressions.h>

#include <QString>

namespace mz {

QString compressionName(CompressionType::e type) {
    return QString::fromLatin1(compressionOf(type).name);
}

CompressionType::e compressionOfName(const QString& name) {
    for (const CompressionTraits& compression : compressions) {
        if (name == QLatin1String(compression.name)) return compression.type;
    }
    return CompressionType::None;
}

}  // namespace mz
