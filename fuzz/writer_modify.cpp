#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/payloads/compressions.h>

#include <algorithm>
#include <vector>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <fuzz/support/input.h>
#include <fuzz/support/memoryfile.h>

namespace mz::fuzz {

namespace {

constexpr size_t largestFrame = 1 << 12;

std::vector<char> pixels(size_t size) {
    std::vector<char> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7);
    return bytes;
}

/// The payloads of a movie's frames, as far as they can be read; the keys are their numbers.
struct Frames {
    bool opens = false;
    bool areCompressed = false;
    std::vector<boost::optional<QByteArray>> payloads;
};

Frames storedFrames(const QString& path) {
    Frames frames;
    ImageReader reader;
    frames.opens = succeeds([&] { reader.open(path); });
    if (!frames.opens) return frames;
    QString compression;
    reader.attribute(QStringLiteral("compression_type"), compression);
    frames.areCompressed = compression.contains(u'z');
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        boost::optional<unsigned int> size;
        frames.payloads.emplace_back();
        if (i < 32 && succeedsOnFrames([&] { size = reader.getRawFrame(data, i); }) && size) {
            frames.payloads.back() =
                QByteArray(static_cast<const char*>(data), static_cast<qsizetype>(*size));
        }
    }
    return frames;
}

/// One step of a script on an open writer, with what it does to the number of frames.
class Editor {
public:
    Editor(ImageWriter& writer, const Frames& frames)
        : _writer(writer), _sizes(frames.payloads.size()), _pixels(pixels(largestFrame)) {
        for (size_t i = 0; i < _sizes.size() && !frames.areCompressed; ++i) {
            if (frames.payloads[i]) _sizes[i] = frames.payloads[i]->size();
        }
    }

    /// Frames appended; meaningless once isOrderly() is false.
    unsigned int added() const { return _added; }
    /// Whether the frames from before stand where they stood.
    bool isOrderly() const { return _isOrderly; }

    void step(Script& script) {
        switch (script.nextBelow(12)) {
            case 0:
                return _append(script,
                               [&](int size) { _writer.addFrameAtEnd(_pixels.data(), size); });
            case 1:
                return _append(script, [&](int size) {
                    _writer.addFrameAtEnd(_pixels.data(), size, timeval{size, 5}, 0.5F);
                });
            case 2:
                return _append(script, [&](int size) { _writer.addFrame(_pixels.data(), size); });
            case 3:
                return _replace(script);
            case 4:
                return _writer.setCompression(static_cast<CompressionType::e>(
                    script.nextBelow(static_cast<int>(compressions.size()) + 1)));
            case 5:
                return _setAttribute(script);
            case 6:
                return _organize(script);
            case 7:
                return _chooseFirst(script);
            case 8:
                return _setFibers(script);
            case 9:
                return _writer.pixType(static_cast<MZImagePixelType>(script.nextBelow(14)));
            case 10:
                return _addOfHeaderSize();
            default:
                return _writer.setCompressionEffort(CompressionEffort::Fast);
        }
    }

private:
    template <class Add>
    void _append(Script& script, Add add) {
        add(script.next() % 2 == 0 ? script.next() : script.next() - 64);
        _sizes.emplace_back();
        ++_added;
    }

    /// The caller knows the size of a frame from reading it; that of a stream he cannot know.
    void _replace(Script& script) {
        const unsigned int number = script.next();
        const bool exists = number < _sizes.size();
        if (exists && !_sizes[number]) return;
        const std::vector<char> frame = pixels(exists ? *_sizes[number] : 0);
        _isOrderly = false;
        if (script.next() % 2 == 0) {
            _writer.replaceFrame(frame.data(), number, 0.25F);
        } else {
            _writer.replaceFrame(frame.data(), number, timeval{7, 7}, -1.0F);
        }
    }

    void _organize(Script& script) {
        _isOrderly = false;
        const unsigned int first = script.next();
        const unsigned int ring = script.next();
        if (first < ring && ring < _sizes.size()) _rotateSizes(first, ring);
        _writer.organizeIndex(first, ring);
    }

    void _chooseFirst(Script& script) {
        _isOrderly = false;
        const unsigned int first = script.next();
        if (first < _sizes.size()) _rotateSizes(first, _sizes.size());
        _writer.setFirstFrame(first);
    }

    void _rotateSizes(size_t first, size_t size) {
        const auto at = [this](size_t i) { return _sizes.begin() + static_cast<ptrdiff_t>(i); };
        std::rotate(at(0), at(first), at(size));
    }

    void _setAttribute(Script& script) {
        const int value = script.next() - 100;
        switch (script.nextBelow(4)) {
            case 0:
                return _writer.width(value);
            case 1:
                return _writer.height(value);
            case 2:
                return _writer.attribute(QStringLiteral("pixbits"), value);
            default:
                return _writer.attribute(QStringLiteral("data_type"),
                                         QString::fromLatin1(value < 0 ? "vec" : "imp"));
        }
    }

    void _setFibers(Script& script) {
        std::vector<float> positions;
        for (int i = script.nextBelow(9); i > 0; --i)
            positions.push_back(static_cast<float>(script.next()) * 1e3F - 1e5F);
        _writer.addRasterFiberContinuousIndexes(positions);
    }

    void _addOfHeaderSize() {
        int width = 0;
        int height = 0;
        const AttributeChunk& header = _writer.attributeChunk();
        header.get(QStringLiteral("width"), width);
        header.get(QStringLiteral("height"), height);
        int bits = 0;
        header.get(QStringLiteral("pixbits"), bits);
        // A caller has no frame of a size that makes no sense, but may try one that is refused.
        const double bytes = double(width) * height * (bits / 8 + 1);
        if (bytes > double(largestFrame) && bytes < 4e9) return;
        _writer.addFrame(_pixels.data(), 0.75F);
        _sizes.emplace_back();
        ++_added;
    }

    ImageWriter& _writer;
    /// What the caller knows of the frames' sizes, in the order of the index.
    std::vector<boost::optional<size_t>> _sizes;
    std::vector<char> _pixels;
    unsigned int _added = 0;
    bool _isOrderly = true;
};

void checkFrames(const Frames& before, const QString& path, unsigned int added) {
    const Frames after = storedFrames(path);
    if (!before.opens || !after.opens) return;
    require(after.payloads.size() == before.payloads.size() + added, "no frame is lost or gained");
}

void modify(const QByteArray& movie, Script script, Choice& choice) {
    const MemoryFile file(movie);
    const Frames before = storedFrames(file.path());
    ImageWriter writer;
    if (!succeeds([&] { writer.modify(file.path()); })) {
        require(!writer.isOpen() && file.bytes() == movie, "a movie that cannot be modified stays");
        return;
    }
    Editor editor(writer, before);
    for (int steps = 0; steps < 24 && !script.isAtEnd(); ++steps)
        succeedsOnFrames([&] { editor.step(script); });
    const bool closed = succeeds([&] { writer.close(); });
    require(closed != writer.isOpen(), "a writer is closed unless closing failed");
    if (!closed) {
        writer.removeAttribute(QStringLiteral("data_type"));
        writer.width(16);
        writer.height(16);
        writer.addRasterFiberContinuousIndexes({});
        require(succeeds([&] { writer.close(); }),
                "closing succeeds when its reason to fail is gone");
    }
    if (editor.isOrderly() && choice.onceIn(2)) checkFrames(before, file.path(), editor.added());
}

void modifyAttributes(const QByteArray& movie, Choice& choice) {
    const MemoryFile file(movie);
    const Frames before = storedFrames(file.path());
    AttributeChunk attributes;
    if (before.opens) attributes = ImageReader(file.path()).attributeChunk();
    attributes.set(QStringLiteral("plug_fuzz"), QString(movie.size() % 97, u'x'));
    ImageWriter writer;
    const bool modified = succeeds([&] { writer.modifyAttribute(file.path(), attributes); });
    require(!writer.isOpen(), "the writer is closed after its attributes were modified");
    require(modified || file.bytes() == movie, "a movie whose attributes cannot be modified stays");
    if (modified && choice.onceIn(2)) checkFrames(before, file.path(), 0);
}

}  // namespace

void modifyMovie(const QByteArray& input, Choice choice) {
    if (claimsLargeFrames(input)) return;
    const auto [bytes, movie] = splitInput(input);
    const Script script(bytes);
    const auto theMovie = [&, &movie = movie] { modify(movie, script, choice); };
    const auto itsAttributes = [&, &movie = movie] { modifyAttributes(movie, choice); };
    choice.doOne(theMovie, itsAttributes);
}

}  // namespace mz::fuzz
