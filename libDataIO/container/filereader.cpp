#include <libDataIO/base/posixfile.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/container/payloadreader.h>
#include <libDataIO/filereader.h>
#include <libDataIO/mmapchunkreader.h>

#include <fcntl.h>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.filereader"));

void checkRegular(const struct stat& status, const QString& path) {
    if (!S_ISREG(status.st_mode))
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "FR_OF_REGFILE", notRegular(path));
}

}  // namespace

FileReader::FileReader() = default;
FileReader::~FileReader() = default;

void FileReader::openFile(const QString& path) {
    _reader.reset();
    _fd = -1;
    struct stat status {};
    if (posix::status(path, status) == -1)
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "FR_OF_STAT", fileError(path));
    checkRegular(status, path);
    auto reader = std::make_unique<MMapChunkReader>();
    posix::Descriptor file(posix::open(path, O_RDONLY));
    if (file.get() == -1)
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "FR_OF_OPEN", fileError(path));
    // Another look: something else may have taken the file's place meanwhile.
    if (posix::status(file.get(), status) == -1)
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "FR_OF_STAT", fileError(path));
    checkRegular(status, path);
    _fd = file.release();
    reader->fileDes(_fd);
    _reader = std::move(reader);
}

void FileReader::closeFile() {
    if (!_reader) return;
    _reader->closeFile();
    _reader.reset();
    _fd = -1;
}

bool FileReader::openned() const {
    return _reader && _reader->openned();
}

bool FileReader::rewind() {
    return _reader && _reader->rewind();
}

bool FileReader::seekEnd() {
    return _reader && _reader->seekEnd();
}

bool FileReader::seek(qint64 offset) {
    return _reader && _reader->seek(offset);
}

bool FileReader::nextChunk(unsigned int type) {
    return _reader && _reader->nextChunk(type);
}

bool FileReader::prevChunk(unsigned int type) {
    return _reader && _reader->prevChunk(type);
}

const void* FileReader::data() const {
    // A reader without a file fails as one between two chunks does.
    return _reader ? _reader->data() : MMapChunkReader().data();
}

unsigned int FileReader::chunkSize() {
    return _reader ? _reader->size() : 0;
}

bool FileReader::readLast(unsigned int type, QByteArray& payload) const {
    return _reader && readLastPayload(_fd, type, payload);
}

bool FileReader::readAt(qint64 offset, unsigned int type, QByteArray& payload) const {
    return _reader && readPayloadAt(_fd, offset, type, payload);
}

bool FileReader::endsWith(unsigned int type) const {
    return _reader && isLastChunk(_fd, type);
}

}  // namespace mz
