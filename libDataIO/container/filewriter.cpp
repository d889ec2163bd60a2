#include <libDataIO/base/posixfile.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/filewriter.h>

#include <fcntl.h>

#include <cstdio>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.filewriter"));

/// Opens a file, or makes it and says so.
int openOrCreate(const QString& path, int flags, bool& created) {
    created = false;
    int fd = posix::open(path, flags);
    if (fd != -1 || errno != ENOENT) return fd;
    fd = posix::open(path, flags | O_CREAT | O_EXCL);
    created = fd != -1;
    // Someone else was faster, or a symbolic link leads to nothing: not made by us alone.
    return created || errno != EEXIST ? fd : posix::open(path, flags | O_CREAT);
}

}  // namespace

FileWriter::FileWriter() = default;
FileWriter::~FileWriter() = default;

void FileWriter::openFile(const QString& path, FileWriterMode mode) {
    _writer.reset();
    _fd = -1;
    auto writer = std::make_unique<FDChunkWriter>();
    if (mode == FW_CREATE) {
        _fd = openOrCreate(path, O_RDWR | O_TRUNC, _created);
        if (_fd == -1) DATAIO_FAIL(IOFileException, logger, SYSCALL, "FW_OF_OPEN", fileError(path));
    } else {
        _fd = openOrCreate(path, O_RDWR, _created);
        if (_fd == -1)
            DATAIO_FAIL(IOFileException, logger, SYSCALL, "FW_OF_OPEN2", fileError(path));
    }
    writer->fileDes(_fd);
    _writer = std::move(writer);
}

void FileWriter::closeFile() {
    // Destroyed however closing goes: the descriptor is gone either way.
    const std::unique_ptr<FDChunkWriter> writer = std::move(_writer);
    _fd = -1;
    if (writer) writer->closeFile();
}

bool FileWriter::openned() const {
    return _writer && _writer->openned();
}

int FileWriter::addChunk(unsigned int type, const void* data, size_t size) {
    // A writer without a file says what is wrong.
    return _writer ? _writer->addChunk(type, data, size)
                   : FDChunkWriter().addChunk(type, data, size);
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
