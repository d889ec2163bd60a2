#pragma once

// The metadata of a movie: an ordered map from key to text value. Every header property (size,
// pixel type, palette, timing, comments, acquisition events) is one entry; the info chunk at the
// end of the file carries them as lines "key=value".

#include <libCommon/export.h>

#include <QByteArray>
#include <QFlags>
#include <QString>

#include <map>

namespace mz {

/// One value. Everything is held as text; types exist only in the get and set operations.
struct Attribute {
    QString _val;
};

/// A plain value, copied by value and without locks. Keys are unique, case-sensitive and ordered by
/// their UTF-16 code units ("Z" before "_" before "a"). Neither keys nor values are checked or
/// trimmed when set, so text that the line format cannot carry changes on its way through a file
/// (see dump). No operation throws on bad content.
class DATAIO_EXPORT AttributeChunk {
public:
    using AttributeMap = std::map<QString, Attribute>;

    /// What safeMerge leaves behind.
    enum MergeFlag : unsigned int {
        NoFlags = 0,
        RemoveFrameTimer = 1,  ///< keys that begin with "frame_timer"
        RemovePlugEvent = 2    ///< keys that begin with "plug_event"
    };
    Q_DECLARE_FLAGS(MergeFlags, MergeFlag)

    AttributeChunk() = default;
    AttributeChunk(const AttributeChunk&) = default;
    AttributeChunk(AttributeChunk&&) = default;
    AttributeChunk& operator=(const AttributeChunk&) = default;
    AttributeChunk& operator=(AttributeChunk&&) = default;
    virtual ~AttributeChunk();

    /// The entries themselves, for callers that iterate or edit them. The reference lives as long
    /// as this object.
    AttributeMap& attributes() { return _attrMap; }
    const AttributeMap& attributes() const { return _attrMap; }

    /// All get operations return false and leave `out` alone when the key is absent.
    bool get(const QString& key, QString& out) const;
    /// The value as a decimal integer. A value that is none, or does not fit, writes 0 and returns
    /// false.
    bool get(const QString& key, int& out) const;
    /// The value as a floating-point number, in any of the usual forms. A value that is none, or
    /// does not fit a float, writes 0 and returns false.
    bool get(const QString& key, float& out) const;
    /// The same value, widened.
    bool get(const QString& key, double& out) const;
    /// The Latin-1 code of a value of exactly one character, 0 for a character beyond Latin-1. A
    /// longer or an empty value returns false and leaves `out` alone.
    bool get(const QString& key, char& out) const;

    /// All set operations insert the key or replace its value.
    void set(const QString& key, int value);
    /// Stores the character of that Latin-1 code.
    void set(const QString& key, char value);
    /// Stores the exponent form with six digits, "1.500000e+00"; finer differences are lost.
    void set(const QString& key, float value);
    /// Stores what the nearest float would.
    void set(const QString& key, double value);
    void set(const QString& key, const QString& value);

    /// Removes a key and returns how many entries that were: 1 or 0.
    unsigned int erase(const QString& key);
    void clear();

    /// Adds the entries of a text of lines "key=value"; what the map already holds stays unless the
    /// text has its key, and the last line of a key wins. White space around a line is dropped,
    /// white space next to the first "=" belongs to key and value. Lines that begin with "#" and
    /// lines without "=", key or value are passed over.
    void parse(const QString& text);
    /// The same for the bytes of a file, taken as Latin-1: parse(QString::fromLatin1(text, length))
    /// without the text in between. `text` may be null when `length` is 0.
    void parseLatin1(const char* text, qsizetype length);

    /// Appends one line "key=value\n" an entry to `out`, in the order of the keys. What parse makes
    /// of the text differs from the map where a key or value is empty, begins or ends with white
    /// space at the line's ends, or holds a line feed; where a key holds "=" or begins with "#".
    void dump(QString& out) const;
    /// The same as Latin-1 bytes, "?" for what does not fit: appends dump's text, converted.
    void dumpLatin1(QByteArray& out) const;
    /// How many characters, or bytes, those two append.
    qsizetype dumpedSize() const;

    /// Prints the entries to standard output.
    void dumpDebug() const;

    /// Takes over every entry of `other`, replacing values of keys that both have.
    void merge(const AttributeChunk& other);

    /// Takes over from `other` the entries that this map lacks; never replaces a value. "endian"
    /// and "compression_type" belong to the file being written and are never taken over; `flags`
    /// leaves more behind.
    void safeMerge(const AttributeChunk& other, MergeFlags flags);

    /// The comment made fit for one line: a BEL becomes a space, then each line feed a BEL. There
    /// is no inverse here; to show a comment, turn BEL into line feed.
    static QString formatComment(const QString& comment);

private:
    AttributeMap _attrMap;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(AttributeChunk::MergeFlags)

}  // namespace mz
