// What an application does with the installed library: implement its two interfaces, record and
// read a movie, and catch a failure that was thrown on the other side of the library's border.

#include <libCommon/exceptions.h>
#include <libCommon/version.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/ireconstructionservice.h>
#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "consumer: %s\n", what);
    std::exit(1);
}

struct CountingStream : mz::LogStream {
    int records = 0;
    void write(const mz::LogRecord&) override { ++records; }
};

// Shows every pixel as bright as the first fibre.
struct FirstFibre : mz::IReconstructionService {
    bool prepare(boost::iterator_range<const float*> fibers, int, int, float, float, float, float,
                 float, float) override {
        return !fibers.empty();
    }
    bool reconstruct(boost::iterator_range<const std::uint16_t*> input,
                     boost::iterator_range<std::uint16_t*> output) override {
        std::fill(output.begin(), output.end(), input.front());
        return true;
    }
    mz::IReconstructionService* clone() const override { return new FirstFibre(*this); }
};

void recordAndReadImages(const QString& name) {
    std::vector<std::uint16_t> frame(60 * 40);
    std::iota(frame.begin(), frame.end(), std::uint16_t{1});
    mz::ImageWriter writer;
    writer.create(name, true);
    writer.width(60);
    writer.height(40);
    writer.pixType(mz::MZ_USHORT);
    writer.setCompression(mz::CompressionType::GZip);
    writer.addFrame(frame.data(), 0.5F);
    writer.addFrame(frame.data(), 1.0F);
    writer.close();

    mz::ImageReader reader(name);
    require(reader.nbFrames() == 2, "the movie has not two frames");
    const void* data = nullptr;
    require(reader.getFrame(data, 1), "the second frame is missing");
    require(std::equal(frame.begin(), frame.end(), static_cast<const std::uint16_t*>(data)),
            "the frame came back different");
}

void recordAndReconstructFibres(const QString& name) {
    const std::vector<std::uint16_t> samples{700, 800};
    mz::ImageWriter writer;
    writer.create(name, true);
    writer.width(8);
    writer.height(4);
    writer.pixType(mz::MZ_USHORT);
    writer.addRasterFiberContinuousIndexes({1.0F, 1.0F, 6.0F, 2.0F});
    writer.addFrame(samples.data(), 4, -1.0F);
    writer.close();

    mz::ImageReader reader(name, boost::make_shared<FirstFibre>());
    const void* data = nullptr;
    require(reader.getFrame(data, 0), "the vectorized frame is missing");
    require(static_cast<const std::uint16_t*>(data)[31] == 700, "the service was not asked");
}

void catchFailure(const QString& name) {
    auto stream = boost::make_shared<CountingStream>();
    mz::Logger* logger = mz::Logger::logger(QStringLiteral("dataio"));
    logger->inheritLogStreams(false);
    logger->addLogStream(stream);
    bool caught = false;
    try {
        mz::ImageReader reader(name);
    } catch (const mz::IOFileException& failure) {
        caught = !failure.code().isEmpty() && !failure.message().isEmpty();
    }
    require(caught, "the exception did not cross the library's border");
    require(stream->records == 1, "the failure was not logged once");
}

}  // namespace

int main(int argc, char** argv) {
    require(argc == 2, "give the name of a movie to write");
    const QString name = QString::fromLocal8Bit(argv[1]);
    require(std::strcmp(mz::version(), DATAIO_VERSION_STRING) == 0,
            "headers and library are of two versions");
    require(GetPixBits(mz::MZ_USHORT) == 16, "pixel types are wrong");
    recordAndReadImages(name);
    recordAndReconstructFibres(name);
    catchFailure(name + QStringLiteral(".that.does.not.exist"));
}
