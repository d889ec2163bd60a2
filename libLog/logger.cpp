#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <mutex>

namespace mz {

/// All loggers and the one lock of the log library. Recursive, since a stream may log.
struct Logger::Registry {
    std::recursive_mutex mutex;
    std::map<QString, std::unique_ptr<Logger>> loggers;
};

Logger::Registry& Logger::_registry() {
    // Made at the first use and never destroyed: other globals fetch their logger before main
    // begins and may log after it has ended.
    static Registry& registry = *new Registry;
    return registry;
}

Logger::Logger(const QString& name, Logger* parent)
    : _name(name),
      _level(LogLevel::Warning),
      _inheritLevel(parent != nullptr),
      _inheritLogStreams(parent != nullptr),
      _parent(parent) {}

Logger* Logger::logger(const QString& name) {
    Registry& registry = _registry();
    const std::lock_guard<std::recursive_mutex> lock(registry.mutex);
    return _find(registry, name);
}

Logger* Logger::_find(Registry& registry, const QString& name) {
    const auto found = registry.loggers.find(name);
    if (found != registry.loggers.end()) return found->second.get();

    Logger* parent = nullptr;
    if (!name.isEmpty()) {
        const auto dot = name.lastIndexOf(u'.');
        parent = _find(registry, dot < 0 ? QString() : name.left(dot));
    }
    std::unique_ptr<Logger> made(new Logger(name, parent));
    if (parent == nullptr) made->_logStreams.push_back(boost::make_shared<StandardErrorStream>());
    return registry.loggers.emplace(name, std::move(made)).first->second.get();
}

LogLevel::Level Logger::level() const {
    const Logger* source = this;
    while (source->_inheritLevel && source->_parent != nullptr)
        source = source->_parent;
    return source->_level;
}

void Logger::setLevel(LogLevel::Level level) {
    const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
    _level = level;
    _inheritLevel = false;
}

void Logger::inheritLevel(bool inherit) {
    const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
    if (!inherit) _level = level();
    _inheritLevel = inherit;
}

void Logger::inheritLogStreams(bool inherit) {
    const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
    _inheritLogStreams = inherit;
}

void Logger::addLogStream(const boost::shared_ptr<LogStream>& stream) {
    if (!stream) return;
    const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
    if (std::find(_logStreams.begin(), _logStreams.end(), stream) == _logStreams.end()) {
        _logStreams.push_back(stream);
    }
}

void Logger::removeLogStream(const boost::shared_ptr<LogStream>& stream) {
    const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
    _logStreams.erase(std::remove(_logStreams.begin(), _logStreams.end(), stream),
                      _logStreams.end());
}

bool Logger::forceLog(const LogLevel& level, LogOrigin origin, const QString& code,
                      const QString& message, const LocationInfo& location) {
    // The caller may be about to build a message from errno.
    const int callersErrno = errno;
    const LogRecord record{level.level(), origin, _name, code, message, location};
    bool written = true;
    {
        const std::lock_guard<std::recursive_mutex> lock(_registry().mutex);
        std::vector<boost::shared_ptr<LogStream>> streams;
        for (const Logger* logger = this; logger != nullptr;
             logger = logger->_inheritLogStreams ? logger->_parent : nullptr) {
            for (const auto& stream : logger->_logStreams) {
                if (std::find(streams.begin(), streams.end(), stream) == streams.end()) {
                    streams.push_back(stream);
                }
            }
        }
        for (const auto& stream : streams) {
            try {
                stream->write(record);
            } catch (const abi::__forced_unwind&) {
                throw;  // the thread is being cancelled
            } catch (...) {
                written = false;
            }
        }
    }
    errno = callersErrno;
    return written;
}

}  // namespace mz
