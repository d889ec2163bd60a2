#include <libDataIO/payloads/fastdeflate.h>

#if DATAIO_USE_LIBDEFLATE

#include <libdeflate.h>

#include <new>

namespace mz {

const bool isFastDeflateBuiltIn = true;

namespace {

/// Whether a gzip header has fields that a frame's header has not. The two libraries do not read
/// all of them alike.
bool hasOptionalFields(DeflateFormat format, const void* payload, size_t size) {
    constexpr size_t flagsAt = 3;
    return format == DeflateFormat::GZip && size > flagsAt &&
           static_cast<const unsigned char*>(payload)[flagsAt] != 0;
}

}  // namespace

struct FastInflater::Working {
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    Working() {
        if (decompressor == nullptr) throw std::bad_alloc();
    }
    ~Working() { libdeflate_free_decompressor(decompressor); }
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;
};

FastInflater::FastInflater() = default;
FastInflater::~FastInflater() = default;

bool FastInflater::decode(DeflateFormat format, const void* payload, size_t size, void* out,
                          size_t outSize) {
    if (hasOptionalFields(format, payload, size)) return false;
    if (!_working) _working = std::make_unique<Working>();
    const auto decompress = format == DeflateFormat::ZLib ? libdeflate_zlib_decompress_ex
                                                          : libdeflate_gzip_decompress_ex;
    size_t consumed = 0;
    size_t produced = 0;
    return decompress(_working->decompressor, payload, size, out, outSize, &consumed, &produced) ==
               LIBDEFLATE_SUCCESS &&
           consumed == size && produced == outSize;
}

struct FastDeflater::Working {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(1);
    Working() {
        if (compressor == nullptr) throw std::bad_alloc();
    }
    ~Working() { libdeflate_free_compressor(compressor); }
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;
};

FastDeflater::FastDeflater() = default;
FastDeflater::~FastDeflater() = default;

size_t FastDeflater::encode(DeflateFormat format, const void* data, size_t size, void* out,
                            size_t outSize) {
    if (!_working) _working = std::make_unique<Working>();
    const auto compress =
        format == DeflateFormat::ZLib ? libdeflate_zlib_compress : libdeflate_gzip_compress;
    return compress(_working->compressor, data, size, out, outSize);
}

}  // namespace mz

#else

namespace mz {

const bool isFastDeflateBuiltIn = false;

struct FastInflater::Working {};
FastInflater::FastInflater() = default;
FastInflater::~FastInflater() = default;
bool FastInflater::decode(DeflateFormat, const void*, size_t, void*, size_t) {
    return false;
}

struct FastDeflater::Working {};
FastDeflater::FastDeflater() = default;
FastDeflater::~FastDeflater() = default;
size_t FastDeflater::encode(DeflateFormat, const void*, size_t, void*, size_t) {
    return 0;
}

}  // namespace mz

#endif
