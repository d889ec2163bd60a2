// How cost grows: opening and closing with the number of frames, a frame's access not at all.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <chrono>
#include <cstdio>
#include <optional>

#include <bench/movies.h>
#include <bench/subjects.h>

namespace bench {

namespace {

constexpr int accesses = 1'000;

/// A movie of one size, opened and read.
struct Grown {
    std::string name;
    QString path;
    int frames;
    int attributes;
};

std::vector<Grown> movies(const Context& context) {
    std::vector<Grown> grown;
    for (const int frames : {1'000, 10'000, 100'000}) {
        for (const int attributes : {100, 10'000}) {
            const std::string name =
                std::to_string(frames) + " frames, " + std::to_string(attributes) + " attributes";
            grown.push_back({name, context.path(name.c_str()), frames, attributes});
        }
    }
    return grown;
}

Material materialOf(const Context& context, const Grown& movie) {
    return context.large.cut(16, 16, movie.frames);
}

void compareOpening(const Context& context, const std::vector<Grown>& grown) {
    Comparison comparison;
    comparison.title = "Growth: opening and closing a movie";
    comparison.repeats = 5;
    comparison.expected = sumOf(materialOf(context, grown.front()).frame(0), 512);
    for (const Grown& movie : grown)
        comparison.cases.push_back({movie.name, [&movie] { return sumFrames(movie.path, {0}); }});
    context.harness.run(comparison);
}

void compareFinishing(const Context& context, const std::vector<Grown>& grown) {
    const QString path = context.path("growing");
    const Scratch scratch({path});
    std::optional<mz::ImageWriter> writer;
    Comparison comparison;
    comparison.title = "Growth: finishing a recording (close)";
    for (const Grown& movie : grown) {
        const Material material = materialOf(context, movie);
        comparison.cases.push_back({movie.name,
                                    [&] {
                                        writer->close();
                                        return Sum{0};
                                    },
                                    [&, material, attributes = movie.attributes] {
                                        writer.emplace();
                                        writer->create(path, false);
                                        setHeader(*writer, material, attributes);
                                        for (int i = 0; i < material.frames(); ++i)
                                            writer->addFrame(material.frame(i), dataOfFrame(i).time,
                                                             dataOfFrame(i).power);
                                    }});
    }
    context.harness.run(comparison);
}

/// The first frames in a scattered order, the same ones in every movie.
void compareAccess(const Context& context, const std::vector<Grown>& grown) {
    const std::vector<int> order = shuffled(accesses);
    std::vector<std::unique_ptr<mz::ImageReader>> readers;
    Comparison comparison;
    comparison.title = "Growth: a thousand frames of 512 bytes of an open movie, in random order";
    comparison.isShort = true;
    comparison.repeats = 5;
    comparison.expected = context.large.cut(16, 16, accesses).sum();
    for (const Grown& movie : grown) {
        mz::ImageReader* reader =
            readers.emplace_back(std::make_unique<mz::ImageReader>(movie.path)).get();
        comparison.cases.push_back(
            {movie.name, [reader, &order] { return sumFrames(*reader, order); }});
    }
    for (size_t i = 1; i < grown.size(); ++i)
        comparison.goals.push_back({grown[i].name, grown.front().name, 0.9});
    context.harness.run(comparison);
}

}  // namespace

void measureGrowth(const Context& context) {
    const std::vector<Grown> grown = movies(context);
    QStringList paths;
    for (const Grown& movie : grown) {
        paths << movie.path;
        record(movie.path, materialOf(context, movie), mz::CompressionType::None,
               mz::CompressionEffort::Standard, movie.attributes);
    }
    const Scratch scratch(paths);
    compareOpening(context, grown);
    compareFinishing(context, grown);
    compareAccess(context, grown);
}

}  // namespace bench
