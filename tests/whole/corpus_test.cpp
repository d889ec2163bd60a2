// Every file that once broke something, and the like: each must be read, modified, copied and
// salvaged without harm.

#include <QDir>
#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <tests/support/bytes.h>
#include <tests/support/files.h>
#include <tests/support/logcapture.h>

using namespace mz;
using namespace mz::test;

namespace {

/// The folder of this project, or another one that DATAIO_CORPUS names: a fuzzer's, for instance.
QDir corpus() {
    return QDir(qEnvironmentVariable("DATAIO_CORPUS", QStringLiteral(DATAIO_CORPUS_DIR)));
}

std::vector<std::string> namesIn(const QDir& folder) {
    std::vector<std::string> names;
    for (const QString& name : folder.entryList(QDir::Files))
        if (!name.contains(u'.')) names.push_back(name.toStdString());
    return names;
}

class Corpus : public testing::TestWithParam<std::string> {
protected:
    void run(void (*operation)(const QByteArray&, fuzz::Choice)) {
        const LogCapture quiet;
        const QByteArray bytes = readFile(corpus().filePath(QString::fromStdString(GetParam())));
        try {
            operation(bytes, {});
        } catch (const fuzz::Broken& broken) {
            ADD_FAILURE() << "not kept: " << broken.promise;
        }
    }
};

TEST_P(Corpus, IsRead) {
    run(fuzz::readMovie);
}
TEST_P(Corpus, IsParsedAsAttributes) {
    run(fuzz::parseAttributes);
}
TEST_P(Corpus, IsModified) {
    run(fuzz::modifyMovie);
}
TEST_P(Corpus, IsRecompressed) {
    run(fuzz::recompressMovie);
}
TEST_P(Corpus, IsSalvaged) {
    run(fuzz::salvageMovie);
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, testing::ValuesIn(namesIn(corpus())),
                         [](const auto& file) { return file.param; });

TEST(CorpusFolder, HoldsFiles) {
    EXPECT_GE(namesIn(QDir(QStringLiteral(DATAIO_CORPUS_DIR))).size(), 12U);
}

}  // namespace
