#include <libDataIO/base/byteorder.h>

#include <cstdint>
#include <cstring>

namespace mz {

namespace {

uint16_t swapped(uint16_t value) {
    return __builtin_bswap16(value);
}
uint32_t swapped(uint32_t value) {
    return __builtin_bswap32(value);
}

template <class Sample>
void copySwapped(void const* from, void* to, size_t count) {
    const auto* source = static_cast<const char*>(from);
    auto* destination = static_cast<char*>(to);
    for (size_t i = 0; i < count; ++i) {
        // Through memcpy, since a payload may start at an odd address; compilers make vector code
        // of it.
        Sample sample;
        std::memcpy(&sample, source + i * sizeof sample, sizeof sample);
        sample = swapped(sample);
        std::memcpy(destination + i * sizeof sample, &sample, sizeof sample);
    }
}

}  // namespace

void copySwapped16(void const* from, void* to, size_t count) {
    copySwapped<uint16_t>(from, to, count);
}

void copySwapped32(void const* from, void* to, size_t count) {
    copySwapped<uint32_t>(from, to, count);
}

}  // namespace mz
