#include <libDataIO/base/posixfile.h>
#include <libDataIO/base/writablefile.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/filewriter.h>

#include <cstdio>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.filewriter"));

}  // namespace

FileWriter::FileWriter() = default;
FileWriter::~FileWriter() = default;

void FileWriter::openFile(const QString& path, FileWriterMode mode) {
    _writer.reset();
    _fd = -1;
    _created = false;
    auto writer = std::make_unique<FDChunkWriter>();
    const auto contents = mode == FW_CREATE ? posix::Contents::Emptied : posix::Contents::Kept;
    const posix::WritableFile file = posix::openToWrite(path, contents);
    switch (file.result) {
        case posix::Opening::Done:
            break;
        case posix::Opening::Failed:
            DATAIO_FAIL(IOFileException, logger, SYSCALL,
                        mode == FW_CREATE ? "FW_OF_OPEN" : "FW_OF_OPEN2", fileError(path));
        case posix::Opening::Busy:
            failBusy(logger, path, DATAIO_HERE);
    }
    writer->fileDes(file.fd);
    _writer = std::move(writer);
    _fd = file.fd;
    _created = file.created;
}

void FileWriter::closeFile() {
    // Destroyed however closing goes: the descriptor is gone either way.
    const std::unique_ptr<FDChunkWriter> writer = std::move(_writer);
    _fd = -1;
    if (writer) writer->closeFile();
}

void FileWriter::abandonFile(const QString& path) {
    struct stat made {};
    if (_writer && _created && posix::status(_fd, made) == 0) posix::removeCreated(path, made);
    try {
        closeFile();
    } catch (const IOFileException&) {
        // Logged; the failure that led here is the one to report.
    }
}

bool FileWriter::openned() const {
    return _writer && _writer->openned();
}

bool FileWriter::inherited() const {
    return _writer && _writer->inherited();
}

int FileWriter::addChunk(unsigned int type, const void* data, size_t size) {
    // A writer without a file says what is wrong.
    return _writer ? _writer->addChunk(type, data, size)
                   : FDChunkWriter().addChunk(type, data, size);
}

void FileWriter::addUnlistedChunk(unsigned int type, const void* data, size_t size) {
    if (_writer)
        _writer->addUnlistedChunk(type, data, size);
    else
        FDChunkWriter().addUnlistedChunk(type, data, size);
}

void FileWriter::markUnfinishedEnd() {
    if (_writer)
        _writer->markUnfinishedEnd();
    else
        FDChunkWriter().markUnfinishedEnd();
}

bool FileWriter::nextChunk(unsigned int type) {
    return _writer && _writer->nextChunk(type);
}

bool FileWriter::prevChunk(unsigned int type) {
    return _writer && _writer->prevChunk(type);
}

bool FileWriter::replaceChunk(qint64 offset, unsigned int type, const void* data,
                              unsigned int size) {
    return _writer ? _writer->replaceChunk(offset, type, data, size)
                   : FDChunkWriter().replaceChunk(offset, type, data, size);
}

bool FileWriter::seek(qint64 offset) {
    return _writer && _writer->seek(offset);
}

bool FileWriter::seekEnd() {
    return _writer && _writer->seekEnd();
}

bool FileWriter::seekPrev() {
    return _writer && _writer->seekPrev();
}

const void* FileWriter::data() const {
    return _writer ? _writer->data() : nullptr;
}

unsigned int FileWriter::chunkSize() const {
    return _writer ? _writer->chunkSize() : 0;
}

void FileWriter::truncate() {
    if (_writer)
        _writer->truncateFile();
    else
        FDChunkWriter().truncateFile();
}

qint64 FileWriter::tell() const {
    return _writer ? _writer->cursor() : 0;
}

qint64 FileWriter::fileSize() const {
    return posix::fileSize(_fd);
}

void FileWriter::dumpDebug() const {
    std::printf("writer = %p\n", static_cast<const void*>(_writer.get()));
    std::printf("fd = %u\n", static_cast<unsigned int>(_fd));
}

}  // namespace mz
