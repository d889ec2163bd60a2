#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/payloads/compressions.h>
#include <libDataIO/rsqcompressutil.h>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <fuzz/support/input.h>
#include <fuzz/support/memoryfile.h>
#include <fuzz/support/touchingservice.h>

namespace mz::fuzz {

namespace {

struct Wish {
    CompressionType::e compression;
    RSQCompress::Vectorization vectorization;
    int first;
    int last;
    CompressionEffort::e effort;
    bool hasService;
};

Wish nextWish(Script& script) {
    Wish wish{};
    wish.compression =
        static_cast<CompressionType::e>(script.nextBelow(static_cast<int>(compressions.size())));
    wish.vectorization = static_cast<RSQCompress::Vectorization>(script.nextBelow(3));
    wish.effort = static_cast<CompressionEffort::e>(script.nextBelow(2));
    wish.hasService = script.next() % 2 == 0;
    wish.first = script.next() - 1;
    wish.last = script.next() - 1;
    return wish;
}

void copyAs(const Wish& wish, const QString& from, const QString& to) {
    double done = 0;
    ProgressReporter reporter([&](double amount) { done += amount; }, 1);
    boost::shared_ptr<IReconstructionService> service;
    if (wish.hasService) service = boost::make_shared<TouchingService>();
    const bool copied = succeedsOnFrames([&] {
        RSQCompress::compressFileImpl(from, to, wish.compression, wish.vectorization, wish.first,
                                      wish.last, &reporter, service, wish.effort);
    });
    require(done <= 1.0, "no more is reported than there is");
    if (!copied) return;

    const ImageReader input(from, service);
    ImageReader output(boost::make_shared<TouchingService>());
    if (!succeeds([&] { output.open(to); })) return;  // its header may ask for too much
    const unsigned int first = wish.first < 0 ? 0 : static_cast<unsigned int>(wish.first);
    const unsigned int end =
        wish.last < 0 ? input.nbFrames() : static_cast<unsigned int>(wish.last) + 1;
    require(output.nbFrames() == end - first, "every frame of the range is copied");
}

}  // namespace

void recompressMovie(const QByteArray& input, Choice choice) {
    if (claimsLargeFrames(input)) return;
    const auto [bytes, movie] = splitInput(input);
    // The index may list the same frame over and over.
    if (movie.size() > 1 << 14) return;
    const MemoryFile file(movie);
    if (choice.onceIn(16)) {
        ImageWriter writer;
        const MemoryFile other;
        writer.create(other.path(), false);
        succeeds([&] { ImageUtilities::copyRsqFileAttributes(writer, file.path()); });
        writer.close();
        if (!choice.isEverything()) return;
    }
    Script script(bytes);
    const MemoryFile output;
    do {
        copyAs(nextWish(script), file.path(), output.path());
    } while (!script.isAtEnd() && choice.onceIn(4));
    require(file.bytes() == movie, "the input of a copy stays");
}

}  // namespace mz::fuzz
