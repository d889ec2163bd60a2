#include <libDataIO/attributechunk.h>
#include <libDataIO/base/localtime.h>
#include <libDataIO/base/storediterator.h>
#include <libDataIO/frametimer.h>
#include <libDataIO/metadata/attributekeys.h>

#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace mz {

namespace {

struct Record {
    int32_t sec;
    int32_t usec;
};
static_assert(sizeof(Record) == FrameTimer::rawRecordSize);

/// A record has room for the low 32 bits of each.
Record narrowed(const timeval& time) {
    return {static_cast<int32_t>(time.tv_sec), static_cast<int32_t>(time.tv_usec)};
}

timeval widened(const Record& record) {
    timeval time{};
    time.tv_sec = record.sec;
    time.tv_usec = record.usec;
    return time;
}

timeval storedTime(const char* stored) {
    Record record;
    std::memcpy(&record, stored, sizeof record);
    return widened(record);
}
using StoredTimeIterator = StoredIterator<timeval, FrameTimer::rawRecordSize, storedTime>;

QString entryKey(const char* format, size_t index) {
    char buffer[64];
    // The longest index there is leaves the key well below the buffer's size.
    const int length = std::snprintf(buffer, sizeof buffer, format, index);
    return QString::fromLatin1(buffer, length);
}

QString secondsKey(size_t index) {
    return entryKey("frame_timer_n%zu_sec", index);
}
QString microsecondsKey(size_t index) {
    return entryKey("frame_timer_n%zu_usec", index);
}

bool isRawSize(unsigned int size) {
    return size % FrameTimer::rawRecordSize == 0;
}

}  // namespace

bool FrameTimer::dumpToRawBuffer(char* buffer, unsigned int size) {
    if (!isRawSize(size)) return false;
    std::sort(begin(), end(), TimevalLessThan());
    for (const timeval& time : *this) {
        const Record record = narrowed(time);
        std::memcpy(buffer, &record, sizeof record);
        buffer += sizeof record;
    }
    return true;
}

bool FrameTimer::readFromRawBuffer(const char* buffer, unsigned int size) {
    if (!isRawSize(size)) return false;
    assign(StoredTimeIterator(buffer), StoredTimeIterator(buffer + size));
    return true;
}

bool FrameTimer::dumpToChunkInfo(AttributeChunk& info) {
    info.set(keys::frameTimer, empty() ? 0 : 1);
    if (empty()) return true;
    info.set(keys::utcOffset, localOffsetFromUtc());
    std::sort(begin(), end(), TimevalLessThan());
    for (size_t i = 0; i < size(); ++i) {
        const Record record = narrowed((*this)[i]);
        info.set(secondsKey(i), record.sec);
        info.set(microsecondsKey(i), record.usec);
    }
    return true;
}

bool FrameTimer::readFromChunkInfo(const AttributeChunk& info) {
    clear();
    int present = 0;
    if (!info.get(keys::frameTimer, present)) return false;
    Record record{};
    for (size_t i = 0; info.get(secondsKey(i), record.sec); ++i) {
        if (!info.get(microsecondsKey(i), record.usec)) return false;
        push_back(widened(record));
    }
    return true;
}

void FrameTimer::removeFromAttChunk(AttributeChunk& attributes) {
    int present = 0;
    if (!attributes.get(keys::frameTimer, present)) return;
    attributes.erase(keys::frameTimer);
    size_t i = 0;
    while (attributes.erase(secondsKey(i)) && attributes.erase(microsecondsKey(i)))
        ++i;
}

}  // namespace mz
