#include <libDataIO/chunkwriter.h>

namespace mz {

ChunkWriter::~ChunkWriter() = default;

}  // namespace mz
