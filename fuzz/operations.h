#pragma once

// What is done with bytes that may be any damaged movie. Each operation does all that an
// application could do, lets the documented exceptions pass and throws Broken when a promise of the
// library is not kept. Everything else that goes wrong is for the sanitizers to see. With a choice,
// only a little of it is done.

#include <QByteArray>

#include <fuzz/support/choice.h>

namespace mz::fuzz {

/// Opens the movie and asks for everything: header, frames both ways, fibres, times, thumbnails.
void readMovie(const QByteArray& input, Choice choice = {});

/// Takes the bytes as the text of an info chunk: parsed, dumped and parsed again.
void parseAttributes(const QByteArray& input, Choice choice = {});

// The following take a movie, or a script in front of one (see splitInput).

/// Modifies the movie as the script says, and its attributes.
void modifyMovie(const QByteArray& input, Choice choice = {});

/// Copies the movie with the compression, vectorization and frame range of the script.
void recompressMovie(const QByteArray& input, Choice choice = {});

/// Salvages the movie, in place and into a new file, with the script as the given attributes.
void salvageMovie(const QByteArray& input, Choice choice = {});

}  // namespace mz::fuzz
