#pragma once

// Attributes from the text that stands in a file, and back.

#include <libDataIO/attributechunk.h>

#include <algorithm>
#include <string>

namespace mz::test {

inline AttributeChunk parsed(const QString& text) {
    AttributeChunk attributes;
    attributes.parse(text);
    return attributes;
}
inline AttributeChunk parsed(const std::string& text) {
    return parsed(QString::fromStdString(text));
}
inline AttributeChunk parsed(const char* text) {
    return parsed(QString::fromLatin1(text));
}

inline std::string dumped(const AttributeChunk& attributes) {
    QString text;
    attributes.dump(text);
    return text.toStdString();
}

inline bool haveSameEntries(const AttributeChunk& a, const AttributeChunk& b) {
    return std::equal(a.attributes().begin(), a.attributes().end(), b.attributes().begin(),
                      b.attributes().end(), [](const auto& one, const auto& other) {
                          return one.first == other.first && one.second._val == other.second._val;
                      });
}

/// The text of an attribute; null when it is missing.
inline QString valueOf(const AttributeChunk& attributes, const char* key) {
    QString value;
    attributes.get(QString::fromLatin1(key), value);
    return value;
}

}  // namespace mz::test
