#include <libDataIO/chunkindex.h>
#include <libLog/failure.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.chunkindex"));

/// A record as it is stored; only copied from and to bytes, which need not be aligned.
struct StoredRecord {
    uint32_t type;
    uint32_t offset;
    uint32_t length;
};
static_assert(sizeof(StoredRecord) == 12, "three numbers, no padding");

constexpr size_t countSize = sizeof(int32_t);

StoredRecord storedRecord(const char* bytes) {
    StoredRecord record;
    std::memcpy(&record, bytes, sizeof record);
    return record;
}

/// Makes room for one run of records. Doubling keeps an index of many short runs linear.
void makeRoom(std::vector<ChunkRecord>& records, size_t additional) {
    const size_t needed = records.size() + additional;
    if (needed > records.capacity()) records.reserve(std::max(needed, 2 * records.capacity()));
}

}  // namespace

ChunkIndex::~ChunkIndex() = default;

bool ChunkIndex::has(int type) const {
    return _recordMap.find(static_cast<unsigned int>(type)) != _recordMap.end();
}

std::vector<ChunkRecord>& ChunkIndex::operator[](int type) {
    return _recordMap[static_cast<unsigned int>(type)];
}

std::vector<ChunkRecord> const* ChunkIndex::find(int type) const {
    const auto found = _recordMap.find(static_cast<unsigned int>(type));
    return found != _recordMap.end() ? &found->second : nullptr;
}

void ChunkIndex::removeAll(int type) {
    _recordMap.erase(static_cast<unsigned int>(type));
}

char* ChunkIndex::save(int& len) {
    size_t count = 0;
    for (auto const& [type, records] : _recordMap)
        count += records.size();
    const size_t size = countSize + count * sizeof(StoredRecord);
    std::unique_ptr<char[]> buffer(new char[size]);

    const auto storedCount = static_cast<int32_t>(count);
    std::memcpy(buffer.get(), &storedCount, countSize);
    char* out = buffer.get() + countSize;
    for (auto const& [type, records] : _recordMap) {
        for (ChunkRecord const& record : records) {
            const StoredRecord stored{type, record.offset, record.length};
            std::memcpy(out, &stored, sizeof stored);
            out += sizeof stored;
        }
    }
    len = static_cast<int>(size);
    return buffer.release();
}

int ChunkIndex::load(void const* buf, unsigned int len) {
    int32_t count = -1;
    if (len >= countSize) std::memcpy(&count, buf, countSize);
    const int64_t size = int64_t{countSize} + int64_t{count} * int64_t{sizeof(StoredRecord)};
    if (count < 0 || size > len)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "CI_L_CHUNK",
                    QStringLiteral("Cannot read header index, chunk too small."));

    // Frames come as one run, which is looked up once.
    const char* in = static_cast<const char*>(buf) + countSize;
    const char* const end = static_cast<const char*>(buf) + size;
    while (in != end) {
        const uint32_t type = storedRecord(in).type;
        const char* runEnd = in;
        while (runEnd != end && storedRecord(runEnd).type == type)
            runEnd += sizeof(StoredRecord);
        std::vector<ChunkRecord>& records = _recordMap[type];
        makeRoom(records, static_cast<size_t>(runEnd - in) / sizeof(StoredRecord));
        for (; in != runEnd; in += sizeof(StoredRecord)) {
            const StoredRecord stored = storedRecord(in);
            records.push_back({stored.offset, stored.length});
        }
    }
    return static_cast<int>(size);
}

void ChunkIndex::debugDump() const {
    std::puts("Chunk index----------------------");
    for (auto const& [type, records] : _recordMap) {
        int number = 0;
        for (ChunkRecord const& record : records)
            std::printf("index[%d][%d] -> first: off %u - len %u \n", static_cast<int>(type),
                        number++, record.offset, record.length);
    }
    std::puts("---------------------------------");
    std::fflush(stdout);
}

}  // namespace mz
