#include <libDataIO/attributechunk.h>
#include <libDataIO/metadata/attributekeys.h>

#include <QLatin1String>
#include <QStringView>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

namespace mz {

namespace {

// One entry is one line: key, separator, value, end.
constexpr char separator = '=';
constexpr char lineEnd = '\n';

qsizetype lineSize(const QString& key, const Attribute& attribute) {
    return key.size() + qsizetype{sizeof separator} + attribute._val.size() +
           qsizetype{sizeof lineEnd};
}

/// Qt gives infinity for a number beyond the range of float; a value that cannot be used is 0 in
/// this format.
float toFloat(const QString& text, bool& ok) {
    const float value = text.toFloat(&ok);
    return ok ? value : 0.0F;
}

template <class Number>
bool getFloat(const AttributeChunk::AttributeMap& map, const QString& key, Number& out) {
    const auto found = map.find(key);
    if (found == map.end()) return false;
    bool ok = false;
    out = toFloat(found->second._val, ok);
    return ok;
}

// One parser serves texts and the bytes of files, since each copy of a large info chunk costs more
// than looking at it.

qsizetype find(QStringView text, char c) {
    return text.indexOf(QLatin1Char(c));
}

qsizetype find(QLatin1String text, char c) {
    if (text.isEmpty()) return -1;
    const void* at = std::memchr(text.data(), c, static_cast<size_t>(text.size()));
    return at ? static_cast<const char*>(at) - text.data() : -1;
}

/// Qt's own trimming of Latin-1 leaves the no-break space and the next-line character in place.
template <class Text>
Text withoutOuterSpace(Text line) {
    qsizetype begin = 0;
    qsizetype end = line.size();
    while (begin < end && QChar(line[begin]).isSpace())
        ++begin;
    while (begin < end && QChar(line[end - 1]).isSpace())
        --end;
    return line.mid(begin, end - begin);
}

template <class Text>
void parseLine(Text line, AttributeChunk::AttributeMap& map) {
    const Text trimmed = withoutOuterSpace(line);
    const qsizetype equals = find(trimmed, separator);
    if (equals < 1 || equals == trimmed.size() - 1) return;
    if (trimmed.front() == QLatin1Char('#')) return;
    // Written files are sorted, so that a new key nearly always belongs at the end. Told so, this
    // compares it once; insert_or_assign would twice, a tenth of the time of parsing.
    const auto entry = map.emplace_hint(map.cend(), trimmed.left(equals).toString(), Attribute{});
    entry->second._val = trimmed.mid(equals + 1).toString();
}

template <class Text>
void parseLines(Text text, AttributeChunk::AttributeMap& map) {
    while (!text.isEmpty()) {
        const qsizetype end = find(text, lineEnd);
        if (end < 0) return parseLine(text, map);
        parseLine(text.left(end), map);
        text = text.mid(end + 1);
    }
}

char* writeLatin1(const QString& text, char* out) {
    for (const QChar c : text)
        *out++ = c.unicode() < 256 ? static_cast<char>(c.unicode()) : '?';
    return out;
}

bool isLeftBehind(const QString& key, AttributeChunk::MergeFlags flags) {
    if (key == keys::endian || key == keys::compression) return true;
    if (flags.testFlag(AttributeChunk::RemoveFrameTimer) && key.startsWith(keys::frameTimer))
        return true;
    return flags.testFlag(AttributeChunk::RemovePlugEvent) && key.startsWith(keys::plugEvent);
}

}  // namespace

AttributeChunk::~AttributeChunk() = default;

bool AttributeChunk::get(const QString& key, QString& out) const {
    const auto found = _attrMap.find(key);
    if (found == _attrMap.end()) return false;
    out = found->second._val;
    return true;
}

bool AttributeChunk::get(const QString& key, int& out) const {
    const auto found = _attrMap.find(key);
    if (found == _attrMap.end()) return false;
    bool ok = false;
    out = found->second._val.toInt(&ok, 10);
    return ok;
}

bool AttributeChunk::get(const QString& key, float& out) const {
    return getFloat(_attrMap, key, out);
}

bool AttributeChunk::get(const QString& key, double& out) const {
    return getFloat(_attrMap, key, out);
}

bool AttributeChunk::get(const QString& key, char& out) const {
    const auto found = _attrMap.find(key);
    if (found == _attrMap.end() || found->second._val.size() != 1) return false;
    out = found->second._val.front().toLatin1();
    return true;
}

void AttributeChunk::set(const QString& key, int value) {
    set(key, QStringLiteral("%1").arg(qint64{value}));
}

void AttributeChunk::set(const QString& key, char value) {
    set(key, QString(QLatin1Char(value)));
}

void AttributeChunk::set(const QString& key, float value) {
    set(key, QStringLiteral("%1").arg(double{value}, 0, 'e'));
}

void AttributeChunk::set(const QString& key, double value) {
    set(key, static_cast<float>(value));
}

void AttributeChunk::set(const QString& key, const QString& value) {
    _attrMap[key]._val = value;
}

unsigned int AttributeChunk::erase(const QString& key) {
    return static_cast<unsigned int>(_attrMap.erase(key));
}

void AttributeChunk::clear() {
    _attrMap.clear();
}

void AttributeChunk::parse(const QString& text) {
    parseLines(QStringView(text), _attrMap);
}

void AttributeChunk::parseLatin1(const char* text, qsizetype length) {
    parseLines(QLatin1String(text, length), _attrMap);
}

void AttributeChunk::dump(QString& out) const {
    for (const auto& [key, attribute] : _attrMap)
        out += key + QLatin1Char(separator) + attribute._val + QLatin1Char(lineEnd);
}

void AttributeChunk::dumpLatin1(QByteArray& out) const {
    const qsizetype start = out.size();
    out.resize(start + dumpedSize());
    char* at = out.data() + start;
    for (const auto& [key, attribute] : _attrMap) {
        at = writeLatin1(key, at);
        *at++ = separator;
        at = writeLatin1(attribute._val, at);
        *at++ = lineEnd;
    }
}

qsizetype AttributeChunk::dumpedSize() const {
    qsizetype size = 0;
    for (const auto& [key, attribute] : _attrMap)
        size += lineSize(key, attribute);
    return size;
}

void AttributeChunk::dumpDebug() const {
    std::puts("Attribute Chunk Dump:");
    std::printf("Number of items: %d\n", static_cast<int>(_attrMap.size()));
    for (const auto& [key, attribute] : _attrMap)
        std::printf("%s -> %s\n", key.toLocal8Bit().constData(),
                    attribute._val.toLocal8Bit().constData());
    std::fflush(stdout);
}

void AttributeChunk::merge(const AttributeChunk& other) {
    for (const auto& [key, attribute] : other._attrMap)
        _attrMap[key] = attribute;
}

void AttributeChunk::safeMerge(const AttributeChunk& other, MergeFlags flags) {
    for (const auto& [key, attribute] : other._attrMap) {
        if (!isLeftBehind(key, flags)) _attrMap.emplace(key, attribute);
    }
}

QString AttributeChunk::formatComment(const QString& comment) {
    const QChar bel(7);
    return QString(comment).replace(bel, QLatin1Char(' ')).replace(QLatin1Char(lineEnd), bel);
}

}  // namespace mz
