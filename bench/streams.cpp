#include <bzlib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <bench/streams.h>

namespace bench {

namespace {

void check(bool succeeded) {
    if (succeeded) return;
    std::fputs("A compression library fails\n", stderr);
    std::exit(2);
}

int windowBits(mz::CompressionType::e type) {
    return type == mz::CompressionType::GZip ? 15 + 16 : 15;
}

Bytef* bytes(const void* data) {
    return static_cast<Bytef*>(const_cast<void*>(data));
}

void inflateBare(mz::CompressionType::e type, const char* stream, size_t size, void* out,
                 size_t outSize) {
    z_stream z{};
    check(inflateInit2(&z, windowBits(type)) == Z_OK);
    z.next_in = bytes(stream);
    z.avail_in = static_cast<uInt>(size);
    z.next_out = bytes(out);
    z.avail_out = static_cast<uInt>(outSize);
    check(inflate(&z, Z_FINISH) == Z_STREAM_END && z.avail_out == 0);
    inflateEnd(&z);
}

size_t deflateBare(mz::CompressionType::e type, const void* data, size_t size,
                   std::vector<char>& stream) {
    z_stream z{};
    check(deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowBits(type), 8,
                       Z_DEFAULT_STRATEGY) == Z_OK);
    // The system that the header names is "unknown" in the library's frames, zlib would name its
    // own. Kept until deflate has written it.
    gz_header header{};
    header.os = 255;
    if (type == mz::CompressionType::GZip) check(deflateSetHeader(&z, &header) == Z_OK);
    stream.resize(deflateBound(&z, size));
    z.next_in = bytes(data);
    z.avail_in = static_cast<uInt>(size);
    z.next_out = bytes(stream.data());
    z.avail_out = static_cast<uInt>(stream.size());
    check(deflate(&z, Z_FINISH) == Z_STREAM_END);
    const size_t length = z.total_out;
    deflateEnd(&z);
    return length;
}

}  // namespace

void decodeBare(mz::CompressionType::e type, const char* stream, size_t size, void* out,
                size_t outSize) {
    if (type != mz::CompressionType::BZip2) return inflateBare(type, stream, size, out, outSize);
    auto length = static_cast<unsigned int>(outSize);
    check(BZ2_bzBuffToBuffDecompress(static_cast<char*>(out), &length, const_cast<char*>(stream),
                                     static_cast<unsigned int>(size), 0, 0) == BZ_OK &&
          length == outSize);
}

void decodeLibdeflate(mz::CompressionType::e type, const char* stream, size_t size, void* out,
                      size_t outSize) {
    using Decompressor =
        std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>;
    static const Decompressor decompressor(libdeflate_alloc_decompressor(),
                                           &libdeflate_free_decompressor);
    check(decompressor != nullptr);
    const auto decompress =
        type == mz::CompressionType::ZLib ? libdeflate_zlib_decompress : libdeflate_gzip_decompress;
    check(decompress(decompressor.get(), stream, size, out, outSize, nullptr) ==
          LIBDEFLATE_SUCCESS);
}

size_t encodeBare(mz::CompressionType::e type, const void* data, size_t size,
                  std::vector<char>& stream) {
    if (type != mz::CompressionType::BZip2) return deflateBare(type, data, size, stream);
    stream.resize(size + size / 50 + 1024);
    auto length = static_cast<unsigned int>(stream.size());
    check(BZ2_bzBuffToBuffCompress(stream.data(), &length,
                                   static_cast<char*>(const_cast<void*>(data)),
                                   static_cast<unsigned int>(size), 9, 0, 30) == BZ_OK);
    return length;
}

}  // namespace bench
