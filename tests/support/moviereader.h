#pragma once

// An ImageReader over a movie that a test has built.

#include <libDataIO/imagereader.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/scratchfile.h>

namespace mz::test {

/// A row of the reader's own failure tables.
inline Failure readerFailure(const char* code, const QString& message) {
    return {"dataio.imagereader", SOFTWARE, code, message};
}

inline Failure invalidFrameSize(const char* code) {
    return readerFailure(code, QStringLiteral("Frame size is invalid, file may be corrupted."));
}

class MovieReader : public testing::Test {
protected:
    /// Puts the movie in the place of the file that is open, if any.
    void put(const MovieBytes& movie) { writeFile(file.path(), movie.bytes()); }

    void open(const MovieBytes& movie) {
        put(movie);
        reader.open(file.path());
    }

    /// A copy of what getRawFrame gives.
    boost::optional<QByteArray> rawFrame(unsigned int idx) {
        const void* data = nullptr;
        const boost::optional<unsigned int> size = reader.getRawFrame(data, idx);
        if (!size) return boost::none;
        return QByteArray(static_cast<const char*>(data), static_cast<qsizetype>(*size));
    }

    /// The first `size` bytes of what getFrame gives.
    boost::optional<QByteArray> frame(unsigned int idx, qsizetype size) {
        const void* data = nullptr;
        if (!reader.getFrame(data, idx)) return boost::none;
        return QByteArray(static_cast<const char*>(data), size);
    }

    /// Of two pixels of 8 bits each.
    static MovieBytes twoFrames() {
        MovieBytes movie;
        movie.size(2, 1).attribute("pixtype", MZ_UCHAR).frame("ab").frame("cd");
        return movie;
    }

    ScratchFile file;
    ImageReader reader;
};

}  // namespace mz::test

inline std::ostream& operator<<(std::ostream& out, const QByteArray& bytes) {
    return out << bytes.toHex(' ').toStdString();
}
