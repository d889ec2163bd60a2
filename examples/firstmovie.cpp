// Records a movie of three small frames and reads it back.
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <vector>

int main() try {
    mz::ImageWriter writer;
    writer.create("first.movie", true);  // true: each frame is stamped with the time it is added at
    writer.width(64);
    writer.height(48);
    writer.pixType(mz::MZ_USHORT);
    writer.setCompression(mz::CompressionType::GZip);
    writer.setComment("three grey frames");
    for (int i = 0; i < 3; ++i) {
        const std::vector<std::uint16_t> pixels(64 * 48, static_cast<std::uint16_t>(1000 * i));
        writer.addFrame(pixels.data(), 0.5F);  // half the laser's power
    }
    writer.close();  // until now only the frames are on disk

    mz::ImageReader reader("first.movie");
    std::printf("%u frames: %s\n", reader.nbFrames(), qPrintable(reader.getComment()));
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;  // lives until the next frame is asked for
        const auto bytes = reader.getRawFrame(data, i);
        if (!bytes || *bytes < 64 * 48 * sizeof(std::uint16_t))  // in a damaged file
            throw std::runtime_error("a frame is shorter than the header says");
        const auto* pixels = static_cast<const std::uint16_t*>(data);
        std::printf("the first pixel is %d\n", pixels[0]);
    }
} catch (const std::exception& failure) {  // mz::IOFileException, or a compression library's own
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
