#pragma once

// Options that several of the programs share.

#include <libDataIO/attributechunk.h>
#include <libDataIO/dataiocommon.h>

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace examples {

/// --compression none|z|gz|bz2
QCommandLineOption compressionOption(const QString& description);
mz::CompressionType::e compressionOf(const QCommandLineParser& parser);

/// --fast
QCommandLineOption fastOption();
mz::CompressionEffort::e effortOf(const QCommandLineParser& parser);

/// --force
QCommandLineOption forceOption(const QString& description);
bool forceOf(const QCommandLineParser& parser);

/// --set key=value, any number of times
QCommandLineOption setOption();
/// The attributes given with --set; line feeds in values are kept as a movie keeps them. Throws
/// Error for what a movie's text lines cannot carry: keys that are empty, begin with "#", or begin
/// or end with white space, empty values, and characters beyond Latin-1.
mz::AttributeChunk attributesOf(const QCommandLineParser& parser);

}  // namespace examples
