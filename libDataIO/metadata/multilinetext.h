#pragma once

// Multi-line texts in one-line attributes, read back: AttributeChunk::formatComment put a BEL in
// place of each line break.

#include <libDataIO/attributechunk.h>

namespace mz {

/// The text of an attribute with its line breaks restored; null when it is missing.
inline QString multiLineText(AttributeChunk const& attributes, QString const& key) {
    QString text;
    if (!attributes.get(key, text)) return {};
    return text.replace(QChar(7), QChar(u'\n'));
}

}  // namespace mz
