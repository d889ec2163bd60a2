#include <QFile>

#include <tiffio.h>

#include <cstdio>
#include <cstdlib>

#include <bench/tiffpeer.h>

namespace bench {

namespace {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

[[noreturn]] void giveUp() {
    std::fputs("libtiff fails\n", stderr);
    std::exit(2);
}

/// "c": strips are handed out whole, not in pieces of 8 KiB.
Tiff opened(const QString& path, const char* mode) {
    TIFFSetWarningHandler(nullptr);
    Tiff tiff(TIFFOpen(QFile::encodeName(path).constData(), mode));
    if (!tiff) giveUp();
    return tiff;
}

}  // namespace

struct TiffWriter::File {
    Tiff tiff;
    uint32_t width;
    uint32_t height;
    uint16_t compression;
};

TiffWriter::TiffWriter(const QString& path, const Material& material, TiffCompression compression)
    : _file(new File{opened(path, "wc"), static_cast<uint32_t>(material.width()),
                     static_cast<uint32_t>(material.height()),
                     static_cast<uint16_t>(compression == TiffCompression::None
                                               ? COMPRESSION_NONE
                                               : COMPRESSION_ADOBE_DEFLATE)}) {}

TiffWriter::~TiffWriter() = default;

void TiffWriter::add(const uint16_t* frame) {
    TIFF* const tiff = _file->tiff.get();
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, _file->width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, _file->height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, _file->height);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, _file->compression);
    const auto size =
        static_cast<tmsize_t>(_file->width) * static_cast<tmsize_t>(_file->height) * 2;
    // Without compression the raw call saves a copy; with it the other one compresses.
    const tmsize_t written =
        _file->compression == COMPRESSION_NONE
            ? TIFFWriteRawStrip(tiff, 0, const_cast<uint16_t*>(frame), size)
            : TIFFWriteEncodedStrip(tiff, 0, const_cast<uint16_t*>(frame), size);
    if (written < 0 || TIFFWriteDirectory(tiff) != 1) giveUp();
}

std::vector<uint64_t> pageOffsets(const QString& path) {
    const Tiff tiff = opened(path, "rc");
    std::vector<uint64_t> offsets;
    do {
        offsets.push_back(TIFFCurrentDirOffset(tiff.get()));
    } while (TIFFReadDirectory(tiff.get()) == 1);
    return offsets;
}

Sum sumTiff(const QString& path, const std::vector<uint64_t>& pages, const Material& material,
            const std::vector<int>& order) {
    const Tiff tiff = opened(path, "rc");
    std::vector<uint16_t> frame(material.frameBytes() / 2);
    const auto size = static_cast<tmsize_t>(material.frameBytes());
    Sum sum = 0;
    for (const int i : order) {
        if (TIFFSetSubDirectory(tiff.get(), pages[static_cast<size_t>(i)]) != 1 ||
            TIFFReadEncodedStrip(tiff.get(), 0, frame.data(), size) != size)
            giveUp();
        sum += sumOf(frame.data(), material.frameBytes());
    }
    return sum;
}

void recordTiff(const QString& path, const Material& material, TiffCompression compression) {
    TiffWriter writer(path, material, compression);
    for (int i = 0; i < material.frames(); ++i)
        writer.add(material.frame(i));
}

}  // namespace bench
