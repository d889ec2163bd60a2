// Copying movies into another compression: frames, ranges, attributes, events, progress, refusals.

#include <libDataIO/imagereader.h>
#include <libDataIO/payloads/compressions.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <limits>

#include <tests/support/compressions.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

TEST_F(Compression, TurnsEveryCompressionIntoEveryOther) {
    for (const CompressionTraits& from : compressions) {
        MovieBytes movie = withHeader();
        movie.attribute("compression_type", attributeOf(from.type));
        for (int i = 0; i < 3; ++i)
            movie.frame(test::compressed(from.type, numberedFrame(i, moviePixels)));
        put(movie);
        for (const CompressionTraits& to : compressions) {
            const Movie made = compressed(RSQCompress::SameAsInput, to.type);
            EXPECT_EQ(made.attribute("compression_type"), attributeOf(to.type));
            ASSERT_EQ(made.frames.size(), 3U);
            for (int i = 0; i < 3; ++i) {
                const QByteArray frame = numberedFrame(i, moviePixels);
                EXPECT_EQ(
                    decompressed(to.type, made.frames[static_cast<size_t>(i)], frame.size() + 1),
                    frame)
                    << from.name << " to " << to.name;
            }
        }
    }
}

TEST_F(Compression, PassesCompressedPixelsOfEightBitsOnAtTheirSize) {
    for (const MZImagePixelType type : {MZ_UCHAR, MZ_CHAR}) {
        const QByteArray frame = numberedFrame(0, moviePixels / 2);
        MovieBytes movie = withHeader(type);
        movie.attribute("compression_type", "gz")
            .frame(test::compressed(CompressionType::GZip, frame));
        put(addFibers(movie));
        EXPECT_EQ(compressed().frames, (std::vector<QByteArray>{frame}));
        EXPECT_EQ(soundMovie(out()).attribute("data_type"), "imp");
    }
    // By "pixbits" alone as well.
    const QByteArray frame = numberedFrame(0, moviePixels / 2);
    MovieBytes movie;
    movie.size(movieWidth, movieHeight).attribute("pixbits", 8).attribute("compression_type", "z");
    put(movie.frame(test::compressed(CompressionType::ZLib, frame)));
    EXPECT_EQ(compressed().frames, (std::vector<QByteArray>{frame}));
}

TEST_F(Compression, CopiesRawPixelsOfEightBitsUnchanged) {
    MovieBytes movie = withHeader(MZ_UCHAR);
    movie.frame(numberedFrame(0, moviePixels / 2));
    put(addFibers(movie));
    const QByteArray frame = numberedFrame(0, moviePixels / 2);
    EXPECT_EQ(compressed(RSQCompress::VectorizeIfPossible).frames,
              (std::vector<QByteArray>{frame}));
    const Movie zipped = compressed(RSQCompress::VectorizeIfPossible, CompressionType::GZip);
    EXPECT_EQ(decompressed(CompressionType::GZip, zipped.frames[0], 1000), frame);
}

TEST_F(Compression, MergesTheAttributesButThoseOfTheFileAndItsTimes) {
    MovieBytes movie = images(1);
    movie.attribute("comment", "with a\aline break")
        .attribute("compression_type", "none")
        .attribute("frame_timer", 1)
        .attribute("frame_timer_n0_sec", 5)
        .attribute("frame_timer_n0_usec", 6)
        .attribute("plug_event_text", "left behind")
        .attribute("plug_zoom", "3")
        .attribute("utc_offset_seconds", 7200);
    put(movie);
    const Movie made = compressed(RSQCompress::SameAsInput, CompressionType::GZip);
    std::map<QByteArray, QByteArray> expected = {{"comment", "with a\aline break"},
                                                 {"compression_type", "gz"},
                                                 {"data_type", "imp"},
                                                 {"endian", "2"},
                                                 {"height", "8"},
                                                 {"pixtype", "5"},
                                                 {"plug_zoom", "3"},
                                                 {"width", "16"}};
    // The offset is that of the zone in which the times are stored now.
    expected["utc_offset_seconds"] = made.attribute("utc_offset_seconds");
    EXPECT_EQ(made.text, expected);
    EXPECT_EQ(made.times, (std::vector<MovieTime>{{5, 6}}));
}

TEST_F(Compression, AnnouncesTheByteOrderInWhichItWrites) {
    QByteArray swapped = numberedFrame(2, moviePixels);
    for (qsizetype i = 0; i + 1 < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    MovieBytes movie;
    movie.size(movieWidth, movieHeight).attribute("pixtype", MZ_SHORT).endian(Order::Big);
    put(movie.frame(swapped));
    const Movie made = compressed();
    EXPECT_EQ(made.attribute("endian"), "2");
    EXPECT_EQ(made.frames, (std::vector<QByteArray>{numberedFrame(2, moviePixels)}));
}

TEST_F(Compression, CopiesTimesPowersAndFibers) {
    MovieBytes movie = images(4);
    movie.times({10, 1, 20, 2, 30, 3}).laserPowers(QByteArray("\x00\x7f\xff\xfe", 4));
    put(movie);
    const Movie made = compressed(RSQCompress::SameAsInput, CompressionType::None, 1, 3);
    EXPECT_EQ(made.times, (std::vector<MovieTime>{{20, 2}, {30, 3}}));
    EXPECT_EQ(made.powers, (std::vector<int>{127, 255, 254}));
    EXPECT_EQ(made.fiberWords.size(), 16U);
    ImageReader reader(out());
    std::vector<unsigned int> offsets;
    reader.getFiberOffsets(offsets, ImageReader::NoFiberFiltering);
    ASSERT_EQ(offsets.size(), 8U);
    for (unsigned int i = 0; i < 8; ++i)
        EXPECT_EQ(offsets[i], i * fiberStep);
}

TEST_F(Compression, WithoutTimesPowersAndFibersWritesNoneOfThem) {
    MovieBytes movie = withHeader();
    put(movie.frame(numberedFrame(0, moviePixels)));
    const Movie made = compressed();
    EXPECT_EQ(made.types(), (std::vector<uint32_t>{2, 8, 5}));
    EXPECT_EQ(made.powers, (std::vector<int>{255}));
}

// --- ranges -----------------------------------------------------------------------------------

TEST_F(Compression, CopiesTheFramesOfTheRange) {
    put(images(5));
    struct Case {
        int first, last, from, to;
    };
    for (const Case& c :
         {Case{-1, -1, 0, 4}, Case{0, 4, 0, 4}, Case{-9, -9, 0, 4}, Case{2, -1, 2, 4},
          Case{-1, 2, 0, 2}, Case{3, 3, 3, 3}, Case{4, 4, 4, 4}}) {
        const Movie made =
            compressed(RSQCompress::SameAsInput, CompressionType::None, c.first, c.last);
        ASSERT_EQ(made.frames.size(), static_cast<size_t>(c.to - c.from + 1));
        for (int i = c.from; i <= c.to; ++i)
            EXPECT_EQ(made.frames[static_cast<size_t>(i - c.from)], numberedFrame(i, moviePixels));
    }
}

TEST_F(Compression, RefusesARangeOutsideTheMovieBeforeThereIsAnOutput) {
    constexpr int huge = std::numeric_limits<int>::max();
    const auto expectRefused = [&](int first, int last) {
        expectFailure<IOFileException>(
            compressFailure("RC_CF_RANGE", "Frame range is outside the movie."),
            [&] { compressed(RSQCompress::SameAsInput, CompressionType::None, first, last); });
    };
    put(images(5));
    for (const auto& [first, last] :
         {std::pair(5, -1), std::pair(0, 5), std::pair(3, 2), std::pair(huge, -1),
          std::pair(0, huge), std::pair(huge, huge), std::pair(5, 5)}) {
        expectRefused(first, last);
        EXPECT_FALSE(QFile::exists(out()));
    }
    writeFile(out(), "older");
    expectRefused(0, 5);
    EXPECT_EQ(readFile(out()), "older");

    put(images(0));
    for (const auto& [first, last] :
         {std::pair(0, 0), std::pair(1, -1), std::pair(-1, 0), std::pair(1, 0)})
        expectRefused(first, last);
}

TEST_F(Compression, CopiesAMovieWithoutFrames) {
    MovieBytes movie = images(0);
    put(movie.attribute("plug_event_1", "0\anever"));
    for (const int first : {-1, 0}) {
        const Movie made = compressed(RSQCompress::SameAsInput, CompressionType::GZip, first, -1);
        EXPECT_TRUE(made.frames.empty());
        EXPECT_EQ(made.fiberWords.size(), 16U);
        EXPECT_EQ(made.attribute("compression_type"), "gz");
        EXPECT_FALSE(made.has("plug_event_1"));
    }
}

// --- plug events ------------------------------------------------------------------------------

TEST_F(Compression, RenumbersThePlugEventsOfTheFramesThatItCopies) {
    MovieBytes movie = images(14);
    movie.attribute("plug_event_1", "3\atoo early")
        .attribute("plug_event_2", "12\ainjection\aignored")
        .attribute("plug_event_3", "9\atoo early")
        .attribute("plug_event_4", "10\a")
        .attribute("plug_event_5", "no number\ax")
        .attribute("plug_event_6", "13\alast")
        .attribute("plug_event_8", "11\abehind a missing one");
    put(movie);
    const Movie made = compressed(RSQCompress::SameAsInput, CompressionType::None, 10, -1);
    EXPECT_EQ(made.attribute("plug_event_1"), "3\ainjection");
    EXPECT_EQ(made.attribute("plug_event_2"), "1\a");
    EXPECT_EQ(made.attribute("plug_event_3"), "4\alast");
    for (const char* key : {"plug_event_4", "plug_event_5", "plug_event_6", "plug_event_8"})
        EXPECT_FALSE(made.has(key)) << key;
    EXPECT_EQ(compressed(RSQCompress::SameAsInput, CompressionType::None, 0, 12)
                  .attribute("plug_event_1"),
              "4\atoo early");
}

// --- progress ---------------------------------------------------------------------------------

class CompressionProgress : public Compression {
protected:
    /// The reports of a run.
    std::vector<double> reports(int frames, int first, int last, double current = 0) {
        put(images(frames));
        std::vector<double> made;
        ProgressReporter reporter([&made](double amount) { made.push_back(amount); }, 100);
        EXPECT_EQ(reporter._current, 0);
        EXPECT_EQ(reporter._total, 100);
        reporter._current = current;
        RSQCompress::compressFileImpl(in(), out(), CompressionType::None, RSQCompress::SameAsInput,
                                      first, last, &reporter, {});
        end = reporter._current;
        return made;
    }

    double end = -1;
};

TEST_F(CompressionProgress, IsReportedAtOnceByTheFirstFrameThatIsNoMultipleOfFifty) {
    std::vector<double> expected(117, 0.0);  // of frames 1 to 119, without 50 and 100
    expected[0] = 100;
    EXPECT_EQ(reports(120, 0, 119), expected);
    EXPECT_EQ(end, 1);
}

TEST_F(CompressionProgress, CountsTheFramesOfTheInput) {
    EXPECT_EQ(reports(120, 50, 52), (std::vector<double>{100, 0}));
    EXPECT_EQ(reports(120, 100, 100), std::vector<double>());
    EXPECT_EQ(end, 0);
    EXPECT_EQ(reports(120, 7, 7), std::vector<double>{100});
}

TEST_F(CompressionProgress, GoesOnFromWhereItStands) {
    EXPECT_EQ(reports(3, 0, 2, 0.25), (std::vector<double>{75, 0}));
    EXPECT_EQ(reports(3, 0, 2, 1), (std::vector<double>{0, 0}));
}

TEST_F(CompressionProgress, NeedsNeitherAReporterNorItsFunction) {
    put(images(3));
    ProgressReporter silent({}, 100);
    RSQCompress::compressFileImpl(in(), out(), CompressionType::None, RSQCompress::SameAsInput, -1,
                                  -1, &silent, {});
    EXPECT_EQ(silent._current, 0);
    EXPECT_EQ(soundMovie(out()).frames.size(), 3U);
}

TEST_F(CompressionProgress, MayEndTheRunByThrowing) {
    put(images(5));
    ProgressReporter reporter([](double) { throw std::runtime_error("cancelled"); }, 1);
    EXPECT_THROW(RSQCompress::compressFile(_inputFilename = in(), _outputFilename = out(),
                                           _progress = &reporter),
                 std::runtime_error);
    EXPECT_EQ(soundMovie(out()).frames.size(), 2U);
}

// --- named arguments --------------------------------------------------------------------------

/// The second byte tells the effort of whoever made the stream.
const QByteArray fastestZlibHeader("\x78\x01", 2);
const QByteArray standardZlibHeader("\x78\x9c", 2);

TEST_F(Compression, TakesTheEffortThatIsGiven) {
    put(images(1));
    RSQCompress::compressFile(_inputFilename = in(), _outputFilename = out(),
                              _compression = CompressionType::ZLib);
    EXPECT_EQ(soundMovie(out()).frames[0].left(2), standardZlibHeader);
    RSQCompress::compressFile(_effort = CompressionEffort::Fast, _inputFilename = in(),
                              _compression = CompressionType::ZLib, _outputFilename = out());
    EXPECT_EQ(soundMovie(out()).frames[0].left(2), fastestZlibHeader);
}

TEST_F(Compression, TakesNamedArgumentsInAnyOrder) {
    put(images(5));
    RSQCompress::compressFile(_inputFilename = in(), _outputFilename = out());
    EXPECT_EQ(soundMovie(out()).attribute("compression_type"), "none");
    EXPECT_EQ(soundMovie(out()).attribute("data_type"), "imp");
    EXPECT_EQ(soundMovie(out()).frames.size(), 5U);

    double reported = 0;
    ProgressReporter reporter([&reported](double amount) { reported += amount; }, 8);
    RSQCompress::compressFile(
        _lastFrame = 3, _reconstructionService = repeatingService(), _progress = &reporter,
        _vectorization = RSQCompress::VectorizeIfPossible, _outputFilename = out(), _firstFrame = 2,
        _compression = CompressionType::ZLib, _inputFilename = in());
    const Movie made = soundMovie(out());
    EXPECT_EQ(made.attribute("compression_type"), "z");
    EXPECT_EQ(made.attribute("data_type"), "vec");
    ASSERT_EQ(made.frames.size(), 2U);
    EXPECT_EQ(decompressed(CompressionType::ZLib, made.frames[0], 100).left(2), le16(2000));
    EXPECT_EQ(reported, 8);

    RSQCompress::compressFile(in(), out(), CompressionType::GZip);
    EXPECT_EQ(soundMovie(out()).attribute("compression_type"), "gz");
}

// --- failures ---------------------------------------------------------------------------------

TEST_F(Compression, RefusesToWriteOverItsInput) {
    const MovieBytes movie = images(2);
    put(movie);
    const QString symbolic = in() + "-symbolic";
    const QString hard = in() + "-hard";
    ASSERT_TRUE(QFile::link(in(), symbolic));
    ASSERT_EQ(::link(in().toLocal8Bit().constData(), hard.toLocal8Bit().constData()), 0);
    for (const QString& name : {in(), symbolic, hard}) {
        expectFailure<IOFileException>(
            compressFailure("RC_CF_SAME", "Input and output are the same file."),
            [&] { RSQCompress::compressFile(_inputFilename = in(), _outputFilename = name); });
        EXPECT_EQ(readFile(in()), movie.bytes());
    }
}

TEST_F(Compression, LooksAtTheRangeBeforeTheNames) {
    put(images(2));
    expectFailure<IOFileException>(
        compressFailure("RC_CF_RANGE", "Frame range is outside the movie."), [&] {
            RSQCompress::compressFile(_inputFilename = in(), _outputFilename = in(),
                                      _lastFrame = 2);
        });
}

TEST_F(Compression, RefusesAnIndexThatListsAFrameTwice) {
    MovieBytes movie = images(3);
    movie.record(MovieBytes::Frame, 0, static_cast<uint32_t>(moviePixels));
    put(movie);
    writeFile(out(), "older");
    const auto expectRefused = [&](const char* code, const char* message, auto action) {
        expectFailure<IOFileException>(compressFailure(code, message), action);
        EXPECT_EQ(readFile(out()), "older");
    };
    // Also where the range has it once.
    for (const int last : {-1, 1}) {
        expectRefused("RC_CF_INDEX", "Index lists a frame twice, file may be corrupted.", [&] {
            compressed(RSQCompress::SameAsInput, CompressionType::None, 0, last);
        });
    }
    expectRefused("RC_CF_RANGE", "Frame range is outside the movie.",
                  [&] { compressed(RSQCompress::SameAsInput, CompressionType::None, 0, 4); });
    expectFailure<IOFileException>(
        compressFailure("RC_CF_SAME", "Input and output are the same file."),
        [&] { RSQCompress::compressFile(_inputFilename = in(), _outputFilename = in()); });
}

TEST_F(Compression, LooksAtTheIndexBeforeThePixels) {
    MovieBytes movie = withHeader(MZ_UINT);
    movie.frame(numberedFrame(0, 2 * moviePixels));
    movie.record(MovieBytes::Frame, 0, static_cast<uint32_t>(2 * moviePixels));
    put(movie);
    expectFailure<IOFileException>(
        compressFailure("RC_CF_INDEX", "Index lists a frame twice, file may be corrupted."),
        [&] { compressed(RSQCompress::SameAsInput, CompressionType::GZip); });
}

TEST_F(Compression, WithoutAnInputCreatesNoOutput) {
    EXPECT_THROW(
        RSQCompress::compressFile(_inputFilename = in() + "-missing", _outputFilename = out()),
        IOFileException);
    EXPECT_FALSE(QFile::exists(out()));
}

TEST_F(Compression, OfAFrameThatIsNotThereKeepsTheFramesBeforeIt) {
    MovieBytes movie = withHeader();
    movie.frame(numberedFrame(0, moviePixels)).frame(numberedFrame(1, moviePixels));
    const uint32_t elsewhere = movie.end();
    movie.chunk(3, "no frame").record(MovieBytes::Frame, elsewhere, 8);
    put(movie);
    expectFailureAfter(2, invalidCopiedSize(), [&] { compressed(); });
}

TEST_F(Compression, OfADamagedStreamKeepsTheFramesBeforeIt) {
    MovieBytes movie = withHeader();
    const QByteArray stream =
        test::compressed(CompressionType::ZLib, numberedFrame(0, moviePixels));
    movie.attribute("compression_type", "z").frame(stream).frame("?" + stream.mid(1)).frame(stream);
    put(movie);
    EXPECT_ANY_THROW(compressed());
    const Movie made = soundMovie(out());
    EXPECT_EQ(made.frames, (std::vector<QByteArray>{numberedFrame(0, moviePixels)}));
}

TEST_F(Compression, SaysThatTheOutputCannotBeWritten) {
    put(images(1));
    const QString nowhere = in() + "/output";
    expectFailure<IOFileException>(
        {"dataio.filewriter", SYSCALL, "FW_OF_OPEN",
         systemError(("File " + nowhere + " : ").toUtf8().constData(), ENOTDIR)},
        [&] { RSQCompress::compressFile(_inputFilename = in(), _outputFilename = nowhere); });
}

TEST_F(Compression, PassesCompressedPixelsOfNoKnownSizeOnWhole) {
    const QByteArray frame = numberedFrame(1, moviePixels);
    for (const auto& [key, value] :
         {std::pair("pixtype", 0), std::pair("pixtype", 99), std::pair("pixbits", 0)}) {
        MovieBytes movie;
        movie.size(movieWidth, movieHeight)
            .attribute(key, value)
            .attribute("compression_type", "z");
        put(movie.frame(test::compressed(CompressionType::ZLib, frame)));
        EXPECT_EQ(compressed().frames, (std::vector<QByteArray>{frame})) << key << value;
    }
}

}  // namespace
