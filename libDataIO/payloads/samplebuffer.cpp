#include <libDataIO/payloads/samplebuffer.h>

#include <algorithm>
#include <new>

namespace mz {

SampleBuffer::SampleBuffer(size_t count) {
    if (count == 0) return;
    // Large zeroed memory comes as pages that the system makes when they are touched.
    _samples.reset(static_cast<uint16_t*>(std::calloc(count, sizeof(uint16_t))));
    if (!_samples) throw std::bad_alloc();
    _count = count;
}

uint16_t* SampleBuffer::writable(size_t count) {
    _written = std::max(_written, count);
    return _samples.get();
}

void SampleBuffer::renew() {
    const size_t count = _count;
    *this = SampleBuffer();  // first, or there would be two of them
    *this = SampleBuffer(count);
}

}  // namespace mz
