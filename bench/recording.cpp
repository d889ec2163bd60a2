// Recording uncompressed frames: the library's frames have a time and a laser power besides, those
// of the others have not.

#include <libDataIO/imagewriter.h>

#include <bench/hdf5peer.h>
#include <bench/movies.h>
#include <bench/plain.h>
#include <bench/subjects.h>
#include <bench/tiffpeer.h>

namespace bench {

namespace {

Case inFile(const QString& path, std::string name, std::function<void()> record,
            std::function<Sum()> verify) {
    return {std::move(name),
            [record] {
                record();
                return Sum{0};
            },
            [path] { QFile::remove(path); }, std::move(verify)};
}

Case hdf5Case(const QString& path, const Material& material, std::string name, Hdf5Way way) {
    const auto record = [=] {
        Hdf5Writer writer(path, material);
        for (int i = 0; i < material.frames(); ++i)
            writer.add(material.frame(i), way);
    };
    return inFile(path, std::move(name), record,
                  [=] { return sumHdf5(path, material, inOrder(material.frames())); });
}

void compare(const Context& context, const char* title, const Material& material,
             std::vector<Goal> goals) {
    const QString path = context.path("recorded");
    const Scratch scratch({path});
    const std::vector<int> order = inOrder(material.frames());
    const auto sumPlain = [=] { return sumMapped(path, material, order); };

    Comparison comparison;
    comparison.title = title + (": " + material.describe()).toStdString();
    comparison.goals = std::move(goals);
    comparison.expected = material.sum();
    comparison.bytes = material.bytes();
    comparison.cases = {
        inFile(
            path, "DataIO", [=] { record(path, material); }, sumPlain),
        inFile(
            path, "three write calls",
            [=] {
                PlainWriter writer(path);
                for (const int i : order)
                    writer.add(material.frame(i), material.frameBytes());
            },
            sumPlain),
        hdf5Case(path, material, "HDF5 H5Dwrite", Hdf5Way::Usual),
        hdf5Case(path, material, "HDF5 H5Dwrite_chunk", Hdf5Way::PastFilters),
        inFile(
            path, "libtiff", [=] { recordTiff(path, material, TiffCompression::None); },
            [=] { return sumTiff(path, pageOffsets(path), material, order); })};
    context.harness.run(comparison);
}

}  // namespace

void compareRecording(const Context& context) {
    compare(context, "Recording large frames", context.large,
            {{"DataIO", "three write calls", 0.97},
             {"DataIO", "HDF5 H5Dwrite", 1.3},
             {"DataIO", "libtiff", 1.0}});
    compare(context, "Recording small frames", context.small,
            {{"DataIO", "three write calls", 1.0},
             {"DataIO", "HDF5 H5Dwrite", 1.4},
             {"DataIO", "libtiff", 1.5}});
}

}  // namespace bench
