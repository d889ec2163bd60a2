// Reading uncompressed frames; each pixel is looked at.

#include <libDataIO/imagereader.h>

#include <bench/hdf5peer.h>
#include <bench/movies.h>
#include <bench/plain.h>
#include <bench/subjects.h>
#include <bench/tiffpeer.h>

namespace bench {

namespace {

/// The same frames in the three forms, on disk and in the cache of the system.
struct Files {
    QString movie;
    QString hdf5;
    QString tiff;
    std::vector<uint64_t> pages;
    Scratch scratch{{movie, hdf5, tiff}};

    Files(const Context& context, const Material& material)
        : movie(context.path("movie")),
          hdf5(context.path("frames.h5")),
          tiff(context.path("frames.tif")) {
        record(movie, material);
        Hdf5Writer writer(hdf5, material);
        for (int i = 0; i < material.frames(); ++i)
            writer.add(material.frame(i));
        recordTiff(tiff, material, TiffCompression::None);
        pages = pageOffsets(tiff);
    }

    /// What is still to be written goes to the disk now, not while something is timed.
    void settle() const {
        for (const QString& path : {movie, hdf5, tiff}) {
            dropFromCache(path);
            const PlainMapping file(path);
            sumOf(file.data(), file.size());
        }
    }
};

void compare(const Context& context, const std::string& title, const Material& material,
             const Files& files, const std::vector<int>& order, std::vector<Goal> goals) {
    Comparison comparison;
    comparison.title = title + ": " + material.describe().toStdString();
    comparison.goals = std::move(goals);
    comparison.expected = material.sum();
    comparison.bytes = material.bytes();
    comparison.cases = {
        {"DataIO", [&] { return sumFrames(files.movie, order); }},
        {"one mapping", [&] { return sumMapped(files.movie, material, order); }},
        {"HDF5 H5Dread", [&] { return sumHdf5(files.hdf5, material, order); }},
        {"HDF5 H5Dread_chunk",
         [&] { return sumHdf5(files.hdf5, material, order, Hdf5Way::PastFilters); }},
        {"libtiff", [&] { return sumTiff(files.tiff, files.pages, material, order); }}};
    context.harness.run(comparison);
}

void compareBothOrders(const Context& context, const std::string& frames, const Material& material,
                       const std::vector<Goal>& inOrderGoals,
                       const std::vector<Goal>& randomGoals) {
    const Files files(context, material);
    files.settle();
    compare(context, "Reading " + frames + " in order", material, files, inOrder(material.frames()),
            inOrderGoals);
    compare(context, "Reading " + frames + " in random order", material, files,
            shuffled(material.frames()), randomGoals);
}

}  // namespace

void compareReading(const Context& context) {
    compareBothOrders(context, "large frames", context.large,
                      {{"DataIO", "one mapping", 0.95},
                       {"DataIO", "HDF5 H5Dread", 1.45},
                       {"DataIO", "libtiff", 1.25}},
                      {{"DataIO", "one mapping", 0.90},
                       {"DataIO", "HDF5 H5Dread", 1.45},
                       {"DataIO", "libtiff", 1.25}});
    compareBothOrders(context, "small frames", context.small,
                      {{"DataIO", "one mapping", 0.85},
                       {"DataIO", "HDF5 H5Dread", 1.3},
                       {"DataIO", "libtiff", 1.7}},
                      {{"DataIO", "one mapping", 0.72},
                       {"DataIO", "HDF5 H5Dread", 1.15},
                       {"DataIO", "libtiff", 1.7}});
}

void compareUncachedReading(const Context& context) {
    const Material& material = context.large;
    const QString movie = context.path("movie");
    const Scratch scratch({movie});
    record(movie, material);
    const std::vector<int> order = inOrder(material.frames());
    const auto drop = [=] { dropFromCache(movie); };

    Comparison comparison;
    comparison.title =
        "Reading large frames that are not cached: " + material.describe().toStdString();
    comparison.goals = {{"DataIO", "one mapping", 0.93}};
    comparison.expected = material.sum();
    comparison.bytes = material.bytes();
    comparison.cases = {{"DataIO", [=] { return sumFrames(movie, order); }, drop},
                        {"one mapping", [=] { return sumMapped(movie, material, order); }, drop}};
    context.harness.run(comparison);
}

}  // namespace bench
