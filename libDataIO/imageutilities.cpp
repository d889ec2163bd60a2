#include <libDataIO/frametimer.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>

namespace mz {

void ImageUtilities::copyRsqFileAttributes(ImageWriter& writer, QString const& fileName) {
    ImageReader reader(fileName, boost::shared_ptr<IReconstructionService>());
    AttributeChunk attributes = reader.attributeChunk();
    FrameTimer::removeFromAttChunk(attributes);
    writer.attributeChunk().merge(attributes);
    reader.close();
}

}  // namespace mz
