#pragma once

// The limits of the machine, as the plainest loops that do the same work on the same files: frames
// framed by two headers of 16 bytes, one behind the other from the start of the file.

#include <QString>

#include <cstddef>
#include <functional>
#include <memory>

#include <bench/material.h>

namespace bench {

/// Makes a file of framed frames with three write calls a frame.
class PlainWriter {
public:
    explicit PlainWriter(const QString& path);
    ~PlainWriter();
    PlainWriter(const PlainWriter&) = delete;
    PlainWriter& operator=(const PlainWriter&) = delete;
    void add(const void* payload, size_t size);

private:
    int _fd;
};

/// A file that is mapped as a whole.
class PlainMapping {
public:
    explicit PlainMapping(const QString& path);
    ~PlainMapping();
    PlainMapping(const PlainMapping&) = delete;
    PlainMapping& operator=(const PlainMapping&) = delete;
    const char* data() const { return _data; }
    size_t size() const { return _size; }

private:
    const char* _data;
    size_t _size;
};

constexpr size_t plainHeader = 16;

/// Where the payload of the i-th frame of equal size lies.
inline size_t payloadOffset(int i, size_t frameBytes) {
    return static_cast<size_t>(i) * (frameBytes + 2 * plainHeader) + plainHeader;
}

/// Walks over the first `frames` framed payloads of a mapped file, of any size.
void eachPayload(const PlainMapping& file, int frames,
                 const std::function<void(const char* payload, size_t size)>& action);

/// Maps the file, adds up the frames in that order, unmaps.
Sum sumMapped(const QString& path, const Material& material, const std::vector<int>& order);

/// Whether both files begin with the same frames, headers included.
bool haveSameFrames(const QString& one, const QString& other, int frames);

/// The caches of the system forget the file.
void dropFromCache(const QString& path);

}  // namespace bench
