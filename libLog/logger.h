#pragma once

// Named loggers. Names are dotted and form a tree: the parent of "dataio.imagereader" is "dataio",
// its parent is the root, whose name is empty. The root has the level Warning and one stream to
// standard error; every other logger starts by inheriting both.

#include <libCommon/export.h>
#include <libCommon/locationinfo.h>
#include <libCommon/logorigin.h>
#include <libLog/loglevel.h>
#include <libLog/logstream.h>

#include <QString>
#include <boost/shared_ptr.hpp>

#include <atomic>
#include <vector>

namespace mz {

/// All operations may be called from any thread.
class DATAIO_EXPORT Logger {
public:
    /// The logger of that name, made with its ancestors when it does not exist yet. It belongs to
    /// the log library and is neither moved nor destroyed while the process runs. May be called
    /// during static initialisation.
    static Logger* logger(const QString& name);

    const QString& name() const { return _name; }

    /// The threshold in force: the logger's own, or that of the nearest ancestor that does not
    /// inherit.
    LogLevel::Level level() const;

    /// Sets the logger's own threshold and ends its inheritance of the parent's.
    void setLevel(LogLevel::Level level);

    /// true: the parent's threshold is followed from now on, whatever setLevel said before.
    /// false: the threshold in force now becomes the logger's own. The root has none to inherit.
    void inheritLevel(bool inherit);

    /// Whether records also go to the parent's streams; true for a new logger.
    void inheritLogStreams(bool inherit);

    /// Adds a stream for the records of this logger and of its descendants; a stream gets each
    /// record once, however many loggers on the way to the root it was added to. A null stream is
    /// ignored.
    void addLogStream(const boost::shared_ptr<LogStream>& stream);
    /// Removes a stream that was added to this logger, which may destroy it. One that was not added
    /// is no error.
    void removeLogStream(const boost::shared_ptr<LogStream>& stream);

    /// Writes one record to the streams without looking at the threshold, which the caller has
    /// tested. errno is left as it was. The calling thread may be cancelled in a stream.
    /// @return false when a stream threw; the others have got the record all the same
    bool forceLog(const LogLevel& level, LogOrigin origin, const QString& code,
                  const QString& message, const LocationInfo& location);

private:
    struct Registry;

    Logger(const QString& name, Logger* parent);

    static Registry& _registry();
    static Logger* _find(Registry& registry, const QString& name);

    QString _name;
    std::atomic<LogLevel::Level> _level;
    std::atomic<bool> _inheritLevel;
    bool _inheritLogStreams;
    std::vector<boost::shared_ptr<LogStream>> _logStreams;
    Logger* _parent;
};

}  // namespace mz
