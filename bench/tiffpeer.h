#pragma once

// The same frames as the pages of a TIFF file, one strip a page.

#include <QString>

#include <memory>

#include <bench/material.h>

namespace bench {

enum class TiffCompression { None, Deflate };

class TiffWriter {
public:
    TiffWriter(const QString& path, const Material& material, TiffCompression compression);
    ~TiffWriter();
    void add(const uint16_t* frame);

private:
    struct File;
    std::unique_ptr<File> _file;
};

/// Where the pages of a file are, which to find out means to walk over all of them.
std::vector<uint64_t> pageOffsets(const QString& path);

Sum sumTiff(const QString& path, const std::vector<uint64_t>& pages, const Material& material,
            const std::vector<int>& order);

void recordTiff(const QString& path, const Material& material, TiffCompression compression);

}  // namespace bench
