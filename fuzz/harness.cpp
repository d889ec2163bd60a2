// The program around one operation, which the build names.

#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>

namespace {

/// Damaged movies are all there is here, so their records say nothing; making them is tested all
/// the same.
struct Silence : mz::LogStream {
    void write(const mz::LogRecord& /*record*/) override {}
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    mz::Logger* const logger = mz::Logger::logger(QStringLiteral("dataio"));
    logger->inheritLogStreams(false);
    logger->addLogStream(boost::make_shared<Silence>());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        const auto input = QByteArray::fromRawData(reinterpret_cast<const char*>(data),
                                                   static_cast<qsizetype>(size));
        mz::fuzz::DATAIO_FUZZ_OPERATION(input, mz::fuzz::Choice::of(input));
    } catch (const mz::fuzz::Broken& broken) {
        std::fprintf(stderr, "ERROR: not kept: %s\n", broken.promise);
        std::abort();
    }
    return 0;
}
