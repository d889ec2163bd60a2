#include <libDataIO/frametimer.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/salvage/salvage.h>

namespace mz {

void ImageUtilities::copyRsqFileAttributes(ImageWriter& writer, const QString& fileName) {
    writer.attributeChunk().merge(attributesOf(fileName));
}

AttributeChunk ImageUtilities::attributesOf(const QString& fileName) {
    const ImageReader reader = ImageReader::withoutService(fileName);
    AttributeChunk attributes = reader.attributeChunk();
    FrameTimer::removeFromAttChunk(attributes);
    return attributes;
}

std::vector<float> ImageUtilities::fibersOf(const QString& fileName) {
    const ImageReader reader = ImageReader::withoutService(fileName);
    std::vector<float> fibers;
    reader.getRasterFiberContinuousIndexes(fibers, ImageReader::NoFiberFiltering);
    return fibers;
}

SalvageReport ImageUtilities::salvage(const QString& fileName, const AttributeChunk& attributes,
                                      const std::vector<float>& fibers) {
    return salvageInPlace(fileName, attributes, fibers);
}

SalvageReport ImageUtilities::salvageTo(const QString& damaged, const QString& output,
                                        const AttributeChunk& attributes,
                                        const std::vector<float>& fibers) {
    return salvageIntoCopy(damaged, output, attributes, fibers);
}

}  // namespace mz
