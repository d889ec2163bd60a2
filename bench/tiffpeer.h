#pragma once

// The same frames as the pages of a TIFF file, one strip a page.

#include <QString>

#include <memory>

#include <bench/material.h>

namespace bench {

enum class TiffCompression { None, Deflate };

class TiffWriter {
public:
    TiffWriter(QString const& path, Material const& material, TiffCompression compression);
    ~TiffWriter();
    void add(uint16_t const* frame);

private:
    struct File;
    std::unique_ptr<File> _file;
};

/// Where the pages of a file are, which to find out means to walk over all of them.
std::vector<uint64_t> pageOffsets(QString const& path);

Sum sumTiff(QString const& path, std::vector<uint64_t> const& pages, Material const& material,
            std::vector<int> const& order);

void recordTiff(QString const& path, Material const& material, TiffCompression compression);

}  // namespace bench
