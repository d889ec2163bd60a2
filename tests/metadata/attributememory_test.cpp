// What parsing attributes asks of the memory. The time that this saves is told by the sizes of the
// pieces, which a busy machine does not change.

#include <libDataIO/attributechunk.h>

#include <gtest/gtest.h>

#include <tests/support/allocationlayer.h>

using namespace mz;
using namespace mz::test;

namespace {

TEST(AttributeMemory, TextIsParsedWithoutACopyOfIt) {
    AttributeChunk written;
    for (int i = 0; i < 20'000; ++i)
        written.set(QStringLiteral("plug_setting_%1").arg(i), i);
    QByteArray text;
    written.dumpLatin1(text);
    const auto large = static_cast<std::size_t>(text.size()) / 16;
    FailingAllocation failing(1, {large});
    AttributeChunk parsed;
    EXPECT_FALSE(
        runsOutOfMemory(failing, [&] { parsed.parseLatin1(text.constData(), text.size()); }));
    EXPECT_EQ(parsed.attributes().size(), written.attributes().size());
}

}  // namespace
