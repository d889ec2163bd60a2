#pragma once

// Copies a movie into a new file with another compression and, where it pays off, turns images into
// vectorized frames (one sample a fibre) or back.

#include <libCommon/export.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/ireconstructionservice.h>

#include <QString>
#include <boost/function.hpp>
#include <boost/parameter.hpp>
#include <boost/shared_ptr.hpp>

namespace mz {

// Names for the arguments of RSQCompress::compressFile.
BOOST_PARAMETER_NAME(inputFilename)
BOOST_PARAMETER_NAME(outputFilename)
BOOST_PARAMETER_NAME(compression)
BOOST_PARAMETER_NAME(vectorization)
BOOST_PARAMETER_NAME(firstFrame)
BOOST_PARAMETER_NAME(lastFrame)
BOOST_PARAMETER_NAME(progress)
BOOST_PARAMETER_NAME(reconstructionService)
BOOST_PARAMETER_NAME(effort)

/// Tells a caller how far a copy has come. The reports are coarse: the first one, at the first
/// frame whose number is not a multiple of 50, covers the whole amount, and later ones add nothing.
struct DATAIO_EXPORT ProgressReporter {
    /// @param func called with the amount done since its last call; may be empty
    /// @param total the amount of a complete run, in the caller's unit
    ProgressReporter(boost::function<void(double)> func, double total);

    boost::function<void(double)> _func;
    double _total;
    double _current = 0;  ///< fraction reported so far, from 0 to 1
};

class DATAIO_EXPORT RSQCompress {
public:
    enum Vectorization : int {
        NoVectorization = 0,      ///< images; vectorized input is reconstructed
        VectorizeIfPossible = 1,  ///< one sample a fibre
        SameAsInput = 2           ///< frames as they are
    };

    /// Writes frames `firstFrame` to `lastFrame` of a movie, with their times, laser powers and
    /// attributes, into a new file. "endian" and "compression_type" become those of the new file,
    /// times in attributes ("frame_timer…") its time chunk, and "data_type" is "vec" or "imp" when
    /// frames change between samples and images, else the input's. Plug events ("plug_event_1",
    /// "plug_event_2" …: frame number, BEL, text) are kept for those frames and renumbered.
    ///
    /// Images of other pixels than 16-bit ones are copied as they are. Movies without fibres, "raw"
    /// ones, ones with a field of view above 700, with 35,001 fibres and more, or with fewer than
    /// four pixels a fibre become or stay images, whatever `vec` asks for.
    ///
    /// @param outputFilename overwritten; must neither be the input nor a movie that somebody is
    ///        recording
    /// @param comp how the output's frames are stored, whatever the input's are
    /// @param vec whether frames become samples of the fibres or images
    /// @param firstFrame from 0; negative means 0
    /// @param lastFrame the last one copied; negative means the last of the movie
    /// @param reporter may be null; belongs to the caller. An exception of its function ends the
    ///        run and passes to the caller, the output closed with the frames copied so far
    /// @param reconstructionService needed to turn vectorized frames into images; may be null
    ///        otherwise
    /// @param effort how much time zlib and gzip frames may take
    /// @throws IOFileException, logged on "dataio.rsqcompressutil", origin SOFTWARE: before an
    ///         output is created "RC_CF_RANGE" when the range leaves the movie or ends before it
    ///         begins (a movie without frames has the default range only), "RC_CF_SAME" when both
    ///         names lead to the same file, "RC_CF_INDEX" when the index lists a frame twice, in
    ///         the range or outside, and at last "RC_CF_PIXELS" when frames are to be compressed
    ///         that have more than 16 bits a pixel; "RC_CF_SIZE" for a frame that cannot be read or
    ///         is too short to be converted, and for a fibre outside the image. And what
    ///         ImageReader, "IR_GF_SIZE" and "IR_UNSUPPORTED_FORMAT" among it, and ImageWriter
    ///         throw. After a failure the output is closed with the frames copied so far.
    static void compressFileImpl(const QString& inputFilename, const QString& outputFilename,
                                 CompressionType::e comp, Vectorization vec, int firstFrame,
                                 int lastFrame, ProgressReporter* reporter,
                                 boost::shared_ptr<IReconstructionService> reconstructionService,
                                 CompressionEffort::e effort = CompressionEffort::Standard);

    // The macro's functions take arguments that they have no use for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-parameter"

    /// The same with named arguments in any order:
    ///
    ///     RSQCompress::compressFile(_inputFilename = in, _outputFilename = out,
    ///                               _compression = CompressionType::GZip);
    ///
    /// All but the two names are optional: no compression, SameAsInput, the whole movie, no
    /// reporter, no service, Standard.
    BOOST_PARAMETER_MEMBER_FUNCTION(
        (void), static compressFile, tag,
        (required(inputFilename, (const QString&))(outputFilename, (const QString&)))(optional(
            compression, (CompressionType::e),
            CompressionType::None)(vectorization, (Vectorization),
                                   SameAsInput)(firstFrame, (int), -1)(lastFrame, (int), -1)(
            progress, (ProgressReporter*),
            nullptr)(reconstructionService, (boost::shared_ptr<IReconstructionService>),
                     boost::shared_ptr<IReconstructionService>())(effort, (CompressionEffort::e),
                                                                  CompressionEffort::Standard))) {
        compressFileImpl(inputFilename, outputFilename, compression, vectorization, firstFrame,
                         lastFrame, progress, reconstructionService, effort);
    }

#pragma GCC diagnostic pop
};

}  // namespace mz
