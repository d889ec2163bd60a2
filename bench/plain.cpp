#include <QFile>
#include <QtEndian>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <bench/plain.h>

namespace bench {

namespace {

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::exit(2);
}

using Header = std::array<char, plainHeader>;

Header header(const char* text, size_t payloadSize) {
    constexpr quint32 frameType = 2;
    Header bytes;
    std::memcpy(bytes.data(), text, bytes.size());
    qToBigEndian<quint32>(frameType, &bytes[6]);
    qToBigEndian<quint32>(static_cast<quint32>(payloadSize), &bytes[10]);
    return bytes;
}

void writeAll(int fd, const void* bytes, size_t size) {
    if (::write(fd, bytes, size) != static_cast<ssize_t>(size)) giveUp("write");
}

int opened(const QString& path, int flags) {
    const int fd = ::open(QFile::encodeName(path).constData(), flags, 0600);
    if (fd == -1) giveUp("open");
    return fd;
}

}  // namespace

PlainWriter::PlainWriter(const QString& path) : _fd(opened(path, O_RDWR | O_CREAT | O_TRUNC)) {}

PlainWriter::~PlainWriter() {
    ::close(_fd);
}

void PlainWriter::add(const void* payload, size_t size) {
    const Header start = header("\n<CSTA        >\n", size);
    const Header end = header("\n<CEND        >\n", size);
    writeAll(_fd, start.data(), start.size());
    writeAll(_fd, payload, size);
    writeAll(_fd, end.data(), end.size());
}

PlainMapping::PlainMapping(const QString& path) {
    const int fd = opened(path, O_RDONLY);
    struct stat status {};
    if (::fstat(fd, &status) == -1) giveUp("fstat");
    _size = static_cast<size_t>(status.st_size);
    void* start = ::mmap(nullptr, _size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (start == MAP_FAILED) giveUp("mmap");
    ::close(fd);
    _data = static_cast<const char*>(start);
}

PlainMapping::~PlainMapping() {
    ::munmap(const_cast<char*>(_data), _size);
}

void eachPayload(const PlainMapping& file, int frames,
                 const std::function<void(const char* payload, size_t size)>& action) {
    const char* at = file.data();
    for (int i = 0; i < frames; ++i) {
        const size_t size = qFromBigEndian<quint32>(at + 10);
        action(at + plainHeader, size);
        at += size + 2 * plainHeader;
    }
}

Sum sumMapped(const QString& path, const Material& material, const std::vector<int>& order) {
    const PlainMapping file(path);
    Sum sum = 0;
    for (const int i : order)
        sum += sumOf(file.data() + payloadOffset(i, material.frameBytes()), material.frameBytes());
    return sum;
}

bool haveSameFrames(const QString& one, const QString& other, int frames) {
    const PlainMapping first(one);
    const PlainMapping second(other);
    size_t size = 0;
    eachPayload(first, frames,
                [&](const char*, size_t payload) { size += payload + 2 * plainHeader; });
    return second.size() >= size && std::memcmp(first.data(), second.data(), size) == 0;
}

void dropFromCache(const QString& path) {
    const int fd = opened(path, O_RDONLY);
    if (::fsync(fd) == -1) giveUp("fsync");
    if (::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) != 0) giveUp("posix_fadvise");
    ::close(fd);
}

}  // namespace bench
