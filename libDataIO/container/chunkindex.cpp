#include <libDataIO/base/storediterator.h>
#include <libDataIO/chunkindex.h>
#include <libLog/failure.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.chunkindex"));

constexpr auto countSize = static_cast<size_t>(ChunkIndex::storedSize(0));
constexpr auto recordSize = static_cast<size_t>(ChunkIndex::storedSize(1)) - countSize;
constexpr size_t typeSize = sizeof(uint32_t);
// Offset and length are copied as one between the record and its stored form.
static_assert(countSize == sizeof(int32_t) && recordSize == typeSize + sizeof(ChunkRecord) &&
              offsetof(ChunkRecord, length) == 4);

uint32_t storedType(const char* stored) {
    uint32_t type;
    std::memcpy(&type, stored, typeSize);
    return type;
}

ChunkRecord storedRecord(const char* stored) {
    ChunkRecord record;
    std::memcpy(&record, stored + typeSize, sizeof record);
    return record;
}
using StoredRecordIterator = StoredIterator<ChunkRecord, recordSize, storedRecord>;

const char* endOfRun(const char* stored, const char* end) {
    const uint32_t type = storedType(stored);
    while (stored != end && storedType(stored) == type)
        stored += recordSize;
    return stored;
}

}  // namespace

ChunkIndex::~ChunkIndex() = default;

bool ChunkIndex::has(int type) const {
    return _recordMap.find(static_cast<unsigned int>(type)) != _recordMap.end();
}

std::vector<ChunkRecord>& ChunkIndex::operator[](int type) {
    return _recordMap[static_cast<unsigned int>(type)];
}

const std::vector<ChunkRecord>* ChunkIndex::find(int type) const {
    const auto found = _recordMap.find(static_cast<unsigned int>(type));
    return found != _recordMap.end() ? &found->second : nullptr;
}

void ChunkIndex::removeAll(int type) {
    _recordMap.erase(static_cast<unsigned int>(type));
}

char* ChunkIndex::save(int& len) {
    size_t count = 0;
    for (const auto& [type, records] : _recordMap)
        count += records.size();
    const auto size = static_cast<size_t>(storedSize(static_cast<qint64>(count)));
    std::unique_ptr<char[]> buffer(new char[size]);

    const auto storedCount = static_cast<int32_t>(count);
    std::memcpy(buffer.get(), &storedCount, countSize);
    char* out = buffer.get() + countSize;
    for (const auto& [type, records] : _recordMap) {
        for (const ChunkRecord& record : records) {
            std::memcpy(out, &type, typeSize);
            std::memcpy(out + typeSize, &record, sizeof record);
            out += recordSize;
        }
    }
    len = static_cast<int>(size);
    return buffer.release();
}

int ChunkIndex::load(const void* buf, unsigned int len) {
    int32_t count = -1;
    if (len >= countSize) std::memcpy(&count, buf, countSize);
    const qint64 size = storedSize(count);
    if (count < 0 || size > len)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "CI_L_CHUNK",
                    QStringLiteral("Cannot read header index, chunk too small."));

    const char* in = static_cast<const char*>(buf) + countSize;
    const char* const end = static_cast<const char*>(buf) + size;
    while (in != end) {
        const char* const runEnd = endOfRun(in, end);
        std::vector<ChunkRecord>& records = _recordMap[storedType(in)];
        // A run at once: the list grows once for all frames, which a long movie's opening shows.
        records.insert(records.end(), StoredRecordIterator(in), StoredRecordIterator(runEnd));
        in = runEnd;
    }
    return static_cast<int>(size);
}

void ChunkIndex::debugDump() const {
    std::puts("Chunk index----------------------");
    for (const auto& [type, records] : _recordMap) {
        int number = 0;
        for (const ChunkRecord& record : records)
            std::printf("index[%d][%d] -> first: off %u - len %u \n", static_cast<int>(type),
                        number++, record.offset, record.length);
    }
    std::puts("---------------------------------");
    std::fflush(stdout);
}

}  // namespace mz
