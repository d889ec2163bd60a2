#include <libDataIO/frametimer.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/salvage/salvage.h>

namespace mz {

void ImageUtilities::copyRsqFileAttributes(ImageWriter& writer, QString const& fileName) {
    writer.attributeChunk().merge(attributesOf(fileName));
}

AttributeChunk ImageUtilities::attributesOf(QString const& fileName) {
    const ImageReader reader = ImageReader::withoutService(fileName);
    AttributeChunk attributes = reader.attributeChunk();
    FrameTimer::removeFromAttChunk(attributes);
    return attributes;
}

std::vector<float> ImageUtilities::fibersOf(QString const& fileName) {
    const ImageReader reader = ImageReader::withoutService(fileName);
    std::vector<float> fibers;
    reader.getRasterFiberContinuousIndexes(fibers, ImageReader::NoFiberFiltering);
    return fibers;
}

SalvageReport ImageUtilities::salvage(QString const& fileName, AttributeChunk const& attributes,
                                      std::vector<float> const& fibers) {
    return salvageInPlace(fileName, attributes, fibers);
}

SalvageReport ImageUtilities::salvageTo(QString const& damaged, QString const& output,
                                        AttributeChunk const& attributes,
                                        std::vector<float> const& fibers) {
    return salvageIntoCopy(damaged, output, attributes, fibers);
}

}  // namespace mz
