// seeds FOLDER: writes small sound movies of every kind into FOLDER/HARNESS, for the fuzzer to
// start from.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/payloads/compressions.h>

#include <QDir>
#include <QFile>

#include <cstdio>
#include <functional>
#include <vector>

#include <fuzz/support/input.h>

namespace {

using namespace mz;

constexpr int frameWidth = 10;
constexpr int frameHeight = 8;
constexpr int frames = 3;

struct Seed {
    QString name;
    QByteArray bytes;
};

QByteArray contents(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("cannot read a seed");
    return file.readAll();
}

void store(const QString& folder, const QString& name, const QByteArray& bytes) {
    QDir().mkpath(folder);
    QFile file(folder + u'/' + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write a seed");
}

/// Few different bytes: the writer refuses streams that are much longer than their frames.
QByteArray framePixels(int number, int bytes) {
    QByteArray pixels(bytes, '\0');
    for (int i = 0; i < bytes; ++i)
        pixels[i] = static_cast<char>(number + i / 32);
    return pixels;
}

QByteArray recorded(const std::function<void(ImageWriter&)>& record) {
    const QString path = QStringLiteral("seed.movie");
    ImageWriter writer;
    writer.create(path, false);
    writer.width(frameWidth);
    writer.height(frameHeight);
    record(writer);
    writer.close();
    const QByteArray bytes = contents(path);
    QFile::remove(path);
    return bytes;
}

void addFrames(ImageWriter& writer, int bytes) {
    for (int i = 0; i < frames; ++i)
        writer.addFrame(framePixels(i, bytes).constData(), bytes, timeval{1000 + i, i}, 0.1F);
}

void addImages(ImageWriter& writer) {
    addFrames(writer, frameWidth * frameHeight * writer.pixBytes());
}

void addFibers(ImageWriter& writer, int count) {
    std::vector<float> positions;
    for (int i = 0; i < count; ++i) {
        positions.push_back(static_cast<float>(i % frameWidth) + 0.5F);
        positions.push_back(static_cast<float>(i / frameWidth) + 0.25F);
    }
    writer.addRasterFiberContinuousIndexes(positions);
    writer.addBundleBoundingBoxCoords(0.5F, 0.5F, 5.0F, 3.5F);
    writer.attribute(QStringLiteral("fovx"), 240.0F);
    writer.attribute(QStringLiteral("fovy"), 160.0F);
}

void addVectorized(ImageWriter& writer) {
    writer.pixType(MZ_USHORT);
    addFibers(writer, 40);
    addFrames(writer, 80);
}

MzPalette smallPalette() {
    MzPalette palette;
    palette.initDefault();
    palette._name = QStringLiteral("warm");
    palette._cropMinInt = 10;
    palette._cropMaxInt = 900;
    palette._nodes.insert(std::next(palette._nodes.begin()), PalNode(0.5F, PalColor{1, 0.5F, 0}));
    return palette;
}

std::vector<Seed> movies() {
    std::vector<Seed> seeds;
    const auto add = [&](const QString& name, const std::function<void(ImageWriter&)>& record) {
        seeds.push_back({name, recorded(record)});
    };
    for (int type = MZ_FLOAT; type <= MZ_RGBA; ++type) {
        add(QStringLiteral("pixtype_%1").arg(type), [&](ImageWriter& writer) {
            writer.pixType(static_cast<MZImagePixelType>(type));
            addImages(writer);
        });
    }
    for (int compression = 1; compression < static_cast<int>(compressions.size()); ++compression) {
        const auto compress = [compression](ImageWriter& writer) {
            writer.setCompression(static_cast<CompressionType::e>(compression));
        };
        add(QStringLiteral("compressed_%1").arg(compression), [&](ImageWriter& writer) {
            writer.pixType(MZ_SHORT);
            compress(writer);
            addImages(writer);
        });
        add(QStringLiteral("compressed_vectorized_%1").arg(compression), [&](ImageWriter& writer) {
            compress(writer);
            addVectorized(writer);
        });
        add(QStringLiteral("compressed_swapped_%1").arg(compression), [&](ImageWriter& writer) {
            writer.pixType(MZ_USHORT);
            writer.attribute(QStringLiteral("endian"), 1);
            compress(writer);
            addImages(writer);
        });
    }
    for (const MZImagePixelType type : {MZ_USHORT, MZ_FLOAT}) {
        add(QStringLiteral("swapped_%1").arg(int{type}), [&](ImageWriter& writer) {
            writer.pixType(type);
            writer.attribute(QStringLiteral("endian"), 1);
            addFibers(writer, 4);
            addImages(writer);
        });
    }
    add(QStringLiteral("vectorized"), addVectorized);
    add(QStringLiteral("vectorized_swapped"), [](ImageWriter& writer) {
        writer.attribute(QStringLiteral("endian"), 1);
        addVectorized(writer);
    });
    add(QStringLiteral("worth_vectorizing"), [](ImageWriter& writer) {
        writer.pixType(MZ_USHORT);
        addFibers(writer, 3);
        addImages(writer);
        writer.setPlugAttribute(QStringLiteral("event_1"), QStringLiteral("2\astart"));
        writer.setPlugAttribute(QStringLiteral("event_2"), QStringLiteral("9\astop"));
    });
    add(QStringLiteral("older_timer"), [](ImageWriter& writer) {
        writer.pixType(MZ_UCHAR);
        FrameTimer timer;
        for (int i = 0; i < frames; ++i) {
            writer.addFrame(framePixels(i, 80).constData(), 80, 0.2F);
            timer.push_back(timeval{100 + i, 7});
        }
        timer.dumpToChunkInfo(writer.attributeChunk());
    });
    add(QStringLiteral("palette"), [](ImageWriter& writer) {
        writer.pixType(MZ_SHORT);
        writer.setPalette(smallPalette());
        writer.setComment(QStringLiteral("two\nlines"));
        writer.attribute(QStringLiteral("mask_level"), 12);
        addImages(writer);
    });
    add(QStringLiteral("placeholder"), [](ImageWriter& writer) {
        writer.pixType(MZ_SHORT);
        writer.dimension(1);
        addImages(writer);
    });
    add(QStringLiteral("tiny"), [](ImageWriter& writer) {
        writer.width(1);
        writer.height(1);
        writer.pixType(MZ_UCHAR);
        writer.addFrame("x");
    });
    add(QStringLiteral("empty"), [](ImageWriter& writer) {
        writer.removeAttribute(QStringLiteral("width"));
        writer.removeAttribute(QStringLiteral("height"));
    });
    return seeds;
}

QByteArray withScript(const QByteArray& script, const QByteArray& movie) {
    return fuzz::joinInput({script, movie});
}

/// The info chunk's text, as a harness for texts takes it.
QByteArray attributeText(const QByteArray& movie) {
    const auto end = movie.size() - 16;
    const auto start = movie.lastIndexOf(QByteArray("\n<CSTA"));
    return movie.mid(start + 16, end - start - 16);
}

/// Without its end, as a recorder leaves it that was killed, and with damage inside.
std::vector<QByteArray> damaged(const QByteArray& movie) {
    const auto info = movie.lastIndexOf(QByteArray("\n<CSTA"));
    QByteArray holed = movie.left(info);
    holed.replace(std::min<qsizetype>(20, holed.size()), 20, QByteArray(20, '#'));
    return {movie, movie.left(info), movie.left(info / 2), holed, movie + movie.left(20)};
}

void storeSeeds(const QString& folder) {
    const QByteArray edits[] = {
        QByteArray("\x00\x02\x18\x01\x00\x18\x02\x00\x10", 9),       // frames at the end
        QByteArray("\x03\x01\x00\x03\x00\x01\x0a\x05\x80\x00", 10),  // replacing, of header size
        QByteArray("\x04\x01\x0a\x04\x02\x0a\x0b\x0a", 8),           // compressed
        QByteArray("\x06\x01\x02\x07\x01\x08\x04\x01\x02\x03\x04", 11),
    };
    const QByteArray copies[] = {
        QByteArray("\x00\x00\x00\x00\x00\x00", 6), QByteArray("\x01\x01\x01\x00\x00\x00", 6),
        QByteArray("\x02\x02\x00\x00\x01\x02", 6), QByteArray("\x03\x00\x00\x00\x02\x00", 6)};
    int number = 0;
    for (const auto& [name, movie] : movies()) {
        store(folder + QStringLiteral("/reader"), name, movie);
        store(folder + QStringLiteral("/attributes"), name, attributeText(movie));
        for (const QByteArray& edit : edits)
            store(folder + QStringLiteral("/writer_modify"), QString::number(++number),
                  withScript(edit, movie));
        for (const QByteArray& copy : copies)
            store(folder + QStringLiteral("/recompress"), QString::number(++number),
                  withScript(copy, movie));
        for (const QByteArray& bytes : damaged(movie))
            store(folder + QStringLiteral("/salvage"), QString::number(++number),
                  withScript(attributeText(movie).right(255), bytes));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "seeds: give the folder to write to\n");
        return 2;
    }
    try {
        storeSeeds(QString::fromLocal8Bit(argv[1]));
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "seeds: %s\n", failure.what());
        return 1;
    }
}
