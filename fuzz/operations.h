#pragma once

// What is done with bytes that may be any damaged movie. Each operation does all that an
// application could do, lets the documented exceptions pass and throws Broken when a promise of the
// library is not kept. Everything else that goes wrong is for the sanitizers to see.

#include <QByteArray>

namespace mz::fuzz {

/// Opens the movie and asks for everything: header, frames both ways, fibres, times, thumbnails.
void readMovie(QByteArray const& input);

/// Takes the bytes as the text of an info chunk: parsed, dumped and parsed again.
void parseAttributes(QByteArray const& input);

// The following take a movie, or a script in front of one (see splitInput).

/// Modifies the movie as the script says, and its attributes.
void modifyMovie(QByteArray const& input);

/// Copies the movie with the compression, vectorization and frame range of the script.
void recompressMovie(QByteArray const& input);

/// Salvages the movie, in place and into a new file, with the script as the given attributes.
void salvageMovie(QByteArray const& input);

}  // namespace mz::fuzz
