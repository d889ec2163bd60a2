// Vectorized frames made into images by a service that notes what it is asked for.

#include <boost/smart_ptr/make_shared.hpp>

#include <vector>

#include <tests/support/moviereader.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

/// What a service was asked for.
struct Calls {
    int prepared = 0;
    int reconstructed = 0;
    int cloned = 0;
    std::vector<float> fibers;
    std::vector<int> size;
    std::vector<float> fieldAndBox;
    std::vector<uint16_t> input;
    std::vector<uint16_t> outputBefore;
};

/// Gives images whose samples are all the first sample of the frame.
class Service : public IReconstructionService {
public:
    explicit Service(Calls& calls) : _calls(calls) {}

    bool prepare(boost::iterator_range<const float*> fibers, int width, int height, float fovX,
                 float fovY, float minX, float maxX, float minY, float maxY) override {
        ++_calls.prepared;
        _calls.fibers.assign(fibers.begin(), fibers.end());
        _calls.size = {width, height};
        _calls.fieldAndBox = {fovX, fovY, minX, maxX, minY, maxY};
        return false;  // nobody looks at it
    }

    bool reconstruct(boost::iterator_range<const uint16_t*> input,
                     boost::iterator_range<uint16_t*> output) override {
        ++_calls.reconstructed;
        if (!input.empty()) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(input.begin()) % alignof(uint16_t), 0U);
        }
        _calls.input.assign(input.begin(), input.end());
        _calls.outputBefore.assign(output.begin(), output.end());
        for (uint16_t& sample : output)
            sample = input.empty() ? 0 : input.front();
        return false;
    }

    IReconstructionService* clone() const override {
        ++_calls.cloned;
        return new Service(_calls);
    }

private:
    Calls& _calls;
};

/// Three fibres, in the corner, in the middle of the left side and on the far corner.
MovieBytes vectorized() {
    MovieBytes movie;
    movie.size(4, 2).attribute("data_type", "vec").attribute("pixbits", 16);
    return movie.fibers({0, 0, 0, 0x7fffffff, 0xffffffff, 0xffffffff});
}

using Samples = std::vector<uint16_t>;

class Reconstruction : public MovieReader {
protected:
    Reconstruction() : withService(boost::make_shared<Service>(calls)) {}
    ~Reconstruction() override { ImageReader::setReconstructionServiceFactory({}); }

    void open(const MovieBytes& movie) {
        put(movie);
        withService.open(file.path());
    }

    Samples image(unsigned int idx) {
        const void* data = nullptr;
        EXPECT_TRUE(withService.getFrame(data, idx));
        const auto* samples = static_cast<const uint16_t*>(data);
        return {samples, samples + 8};
    }

    Calls calls;
    ImageReader withService;
};

}  // namespace

// --- preparing -------------------------------------------------------------------------------

TEST_F(Reconstruction, IsPreparedWithWhatTheMovieSays) {
    open(vectorized()
             .attribute("fovx", "250.5")
             .attribute("fovy", "125")
             .attribute("bbox_min_x", "1")
             .attribute("bbox_max_x", "2")
             .attribute("bbox_min_y", "3")
             .attribute("bbox_max_y", "4"));
    EXPECT_EQ(calls.prepared, 1);
    EXPECT_EQ(calls.reconstructed, 0);
    EXPECT_EQ(calls.fibers, (std::vector<float>{0, 0, 0, 1, 4, 2}))
        << "neither filtered nor sorted";
    EXPECT_EQ(calls.size, (std::vector<int>{4, 2}));
    EXPECT_EQ(calls.fieldAndBox, (std::vector<float>{250.5F, 125, 1, 2, 3, 4}));
}

TEST_F(Reconstruction, IsPreparedWithDefaults) {
    open(MovieBytes().attribute("data_type", "vec"));
    EXPECT_EQ(calls.prepared, 1);
    EXPECT_TRUE(calls.fibers.empty());
    EXPECT_EQ(calls.size, (std::vector<int>{0, 0}));
    EXPECT_EQ(calls.fieldAndBox, (std::vector<float>{0, 0, -5000, 5000, -5000, 5000}));
}

TEST_F(Reconstruction, EachOpenPreparesAgain) {
    open(vectorized());
    open(vectorized().attribute("fovx", 7));
    EXPECT_EQ(calls.prepared, 2);
    EXPECT_EQ(calls.fieldAndBox.front(), 7);
    withService.reloadHeader();
    EXPECT_EQ(calls.prepared, 2);
}

TEST_F(Reconstruction, OtherMoviesNeedNone) {
    open(MovieBytes().size(4, 2).attribute("data_type", "imp").fibers({0, 0}).frame("ab"));
    const void* data = nullptr;
    EXPECT_TRUE(withService.getFrame(data, 0));
    EXPECT_EQ(calls.prepared + calls.reconstructed, 0);
}

TEST_F(Reconstruction, AMovieAfterAVectorizedOneNeedsNone) {
    open(vectorized().frame(bytes16({7, 8, 9})));
    open(MovieBytes().frame("ab"));
    const void* data = nullptr;
    EXPECT_TRUE(withService.getFrame(data, 0));
    EXPECT_EQ(calls.reconstructed, 0);
}

// --- frames ----------------------------------------------------------------------------------

TEST_F(Reconstruction, TurnsSamplesIntoAnImage) {
    open(vectorized().frame(bytes16({7, 8, 9})).frame(bytes16({5, 6, 4})));
    EXPECT_EQ(image(0), Samples(8, 7));
    EXPECT_EQ(calls.input, (Samples{7, 8, 9}));
    EXPECT_EQ(calls.outputBefore, Samples(8, 0));
    EXPECT_EQ(image(1), Samples(8, 5));
    EXPECT_EQ(calls.outputBefore, Samples(8, 7)) << "the buffer is kept";
    EXPECT_EQ(calls.reconstructed, 2);
}

TEST_F(Reconstruction, NextFrameReconstructsToo) {
    open(vectorized().frame(bytes16({7, 8, 9})));
    const void* data = nullptr;
    EXPECT_TRUE(withService.nextFrame(data));
    EXPECT_EQ(calls.reconstructed, 1);
    EXPECT_FALSE(withService.nextFrame(data));
    EXPECT_EQ(calls.reconstructed, 1);
}

TEST_F(Reconstruction, RawFramesAreNotReconstructed) {
    open(vectorized().frame(bytes16({7, 8, 9})));
    const void* data = nullptr;
    ASSERT_EQ(withService.getRawFrame(data, 0), 6U);
    EXPECT_EQ(QByteArray(static_cast<const char*>(data), 6), bytes16({7, 8, 9}));
    EXPECT_EQ(calls.reconstructed, 0);
}

TEST_F(Reconstruction, SamplesAtAnOddAddressAreGivenAligned) {
    open(vectorized().laserPowers("x").frame(bytes16({7, 8, 9})));
    EXPECT_EQ(image(0), Samples(8, 7));
    EXPECT_EQ(calls.input, (Samples{7, 8, 9}));
}

TEST_F(Reconstruction, SamplesInTheOtherOrderAreSwapped) {
    MovieBytes movie;
    movie.size(4, 2).attribute("data_type", "vec").attribute("pixbits", 16).endian(Order::Big);
    movie.fibers({0, 0, 0xffffffff, 0xffffffff}, Order::Big);
    open(movie.frame(bytes16({7, 256}, Order::Big)));
    EXPECT_EQ(image(0), Samples(8, 7));
    EXPECT_EQ(calls.input, (Samples{7, 256}));
    EXPECT_EQ(calls.fibers, (std::vector<float>{0, 0, 4, 2}));
}

TEST_F(Reconstruction, CompressedSamplesAreDecompressed) {
    open(vectorized()
             .attribute("compression_type", "gz")
             .frame(compressed(CompressionType::GZip, bytes16({7, 8, 9}))));
    EXPECT_EQ(image(0), Samples(8, 7));
    EXPECT_EQ(calls.input, (Samples{7, 8, 9}));
}

TEST_F(Reconstruction, SamplesBeyondTheFibersAreLeftOut) {
    open(vectorized().frame(bytes16({7, 8, 9, 10, 11})));
    image(0);
    EXPECT_EQ(calls.input, (Samples{7, 8, 9}));
}

TEST_F(Reconstruction, AFrameShorterThanItsFibersIsRefused) {
    for (const QByteArray& payload : {bytes16({7, 8}), bytes16({7, 8}) + 'x', QByteArray()}) {
        open(vectorized().frame(payload));
        const void* data = nullptr;
        expectFailure<IOFileException>(invalidFrameSize("IR_GF_SIZE"),
                                       [&] { withService.getFrame(data, 0); });
        EXPECT_EQ(calls.reconstructed, 0);
        EXPECT_EQ(withService.getRawFrame(data, 0), static_cast<unsigned int>(payload.size()));
    }
}

TEST_F(Reconstruction, SwappedPixelsThatAreNoSamplesStayInBounds) {
    // Three samples are one and a half of the pixels that the header speaks of.
    MovieBytes movie;
    movie.size(4, 2).attribute("data_type", "vec").attribute("pixbits", 32).endian(Order::Big);
    open(movie.fibers({0, 0, 0, 0, 0, 0}).frame("abcdef"));
    image(0);
    EXPECT_EQ(calls.input, (Samples{'d' | 'c' << 8, 'b' | 'a' << 8, 'e' | 'f' << 8}));
}

TEST_F(Reconstruction, WithoutFibersThereAreNoSamples) {
    for (const char* before : {"", "x"}) {
        open(MovieBytes()
                 .size(4, 2)
                 .attribute("data_type", "vec")
                 .laserPowers(before)
                 .frame(bytes16({7, 8})));
        EXPECT_EQ(image(0), Samples(8, 0));
        EXPECT_TRUE(calls.input.empty());
    }
}

// --- without a service -----------------------------------------------------------------------

TEST_F(Reconstruction, WithoutAServiceOnlyRawFramesAreGiven) {
    put(vectorized().frame(bytes16({7, 8, 9})));
    reader.open(file.path());
    EXPECT_EQ(rawFrame(0), bytes16({7, 8, 9}));
    const void* data = nullptr;
    const Failure unsupported = readerFailure(
        "IR_UNSUPPORTED_FORMAT",
        "File " + file.path() +
            ": vectorized data unsupported because no reconstruction service provided.");
    expectFailure<IOFileException>(unsupported, [&] { reader.getFrame(data, 0); });
    expectFailure<IOFileException>(unsupported, [&] { reader.nextFrame(data); });
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_FALSE(reader.getFrame(data, 1)) << "a frame that is not there needs no service";
}

TEST_F(Reconstruction, TheFactoryServesReadersMadeAfterwards) {
    Calls prototype;
    ImageReader before;
    ImageReader::setReconstructionServiceFactory(boost::make_shared<Service>(prototype));
    ImageReader after;
    ImageReader withItsOwn(boost::make_shared<Service>(calls));
    EXPECT_EQ(prototype.cloned, 1) << "for the reader without a service of its own";
    EXPECT_EQ(calls.cloned, 0);

    put(vectorized().frame(bytes16({7, 8, 9})));
    before.open(file.path());
    EXPECT_EQ(prototype.prepared, 0);
    after.open(file.path());
    EXPECT_EQ(prototype.prepared, 1);
    withItsOwn.open(file.path());
    EXPECT_EQ(prototype.prepared, 1);
    EXPECT_EQ(calls.prepared, 1);

    ImageReader::setReconstructionServiceFactory({});
    ImageReader withoutAny(file.path());
    EXPECT_EQ(prototype.cloned, 1);
    const void* data = nullptr;
    EXPECT_TRUE(after.getFrame(data, 0)) << "its clone is its own";
}

TEST_F(Reconstruction, AnEarlierFactoryIsReleased) {
    const auto first = boost::make_shared<Service>(calls);
    ImageReader::setReconstructionServiceFactory(first);
    EXPECT_EQ(first.use_count(), 2);
    ImageReader::setReconstructionServiceFactory(boost::make_shared<Service>(calls));
    EXPECT_EQ(first.use_count(), 1);
}

// --- image sizes -----------------------------------------------------------------------------

namespace {

MovieBytes withFibers(int width, int height, int fibers) {
    MovieBytes movie;
    movie.size(width, height).attribute("data_type", "vec");
    return movie.chunk(MovieBytes::FiberCenter, QByteArray(8 * fibers, '\0'));
}

}  // namespace

TEST_F(Reconstruction, NegativeAndOverflowingImagesAreRefusedAtOpen) {
    constexpr int most = 2147483647;
    for (const auto& [width, height] :
         std::initializer_list<std::pair<int, int>>{{-1, 2}, {2, -1}, {-2, -2}, {most, most}}) {
        put(withFibers(width, height, 3));
        expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"),
                                       [&] { withService.open(file.path()); });
        EXPECT_EQ(withService.nbFrames(), 0U);
    }
    EXPECT_EQ(calls.prepared, 0);
}

TEST_F(Reconstruction, ImagesUpToSixteenMebibytesAreBelieved) {
    open(withFibers(4096, 2048, 0));
    EXPECT_EQ(calls.prepared, 1);
    put(withFibers(4096, 2049, 0));
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"),
                                   [&] { withService.open(file.path()); });
}

TEST_F(Reconstruction, LargerImagesNeedTheirFibers) {
    open(withFibers(4096, 2049, 2049));
    EXPECT_EQ(calls.prepared, 1);
    put(withFibers(4096, 2049, 2048));
    expectFailure<IOFileException>(invalidFrameSize("IR_GRF_SIZE"),
                                   [&] { withService.open(file.path()); });
}

TEST_F(Reconstruction, WithoutAServiceNoImageIsNeeded) {
    put(withFibers(-1, 2, 3).frame(bytes16({7, 8, 9})));
    reader.open(file.path());
    EXPECT_EQ(rawFrame(0), bytes16({7, 8, 9}));
}
