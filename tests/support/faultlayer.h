#pragma once

// Stands between the library and the system: calls are counted, and chosen ones fail.
// faultlayer.cpp defines these calls in the test program. The library's objects in that program
// call them, and so does a shared library, which finds the program's symbols before the C
// library's: the product needs no hook.

#include <QByteArray>
#include <QString>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace mz::test {

/// Lock is the taking of a lock, Duplicate the making of another descriptor for an open file.
enum class Call {
    Open,
    Close,
    Read,
    Write,
    Seek,
    Truncate,
    Stat,
    Map,
    Unmap,
    Advise,
    Lock,
    Unlock,
    Duplicate,
    Remove
};
constexpr Call allCalls[] = {Call::Open,      Call::Close,    Call::Read, Call::Write,
                             Call::Seek,      Call::Truncate, Call::Stat, Call::Map,
                             Call::Unmap,     Call::Advise,   Call::Lock, Call::Unlock,
                             Call::Duplicate, Call::Remove};
const char* nameOf(Call call);

/// How a call goes wrong: with an error and no other effect than that a close has closed, or, for
/// error 0, by moving fewer bytes than asked for. With ECANCELED the calling thread is cancelled,
/// as it may be in a write.
struct Effect {
    int error;
    int bytes;  ///< of a short call; half: that part of them
    int next =
        0;  ///< error of the call behind a short one, with which a full disk gives its reason

    static constexpr int half = -1;
    static constexpr int allButOne = -2;
    size_t of(size_t asked) const;
};

/// The `position`-th call of a kind, from 1, and the `times` - 1 behind it.
struct Fault {
    Call call;
    int position;
    Effect effect;
    int times = 1;
    bool onlyAfterAnother = false;  ///< not before another fault has happened

    static constexpr int always = 1 << 20;

    std::string text() const;
};

/// What one call made of the file.
struct Change {
    Call call;      ///< Write or Truncate
    qint64 offset;  ///< of the bytes written, or the new length
    QByteArray bytes;
};

/// Counts the calls for one file and lets the faults happen, during the actions that it is given.
/// Calls for other files pass through: Qt and the test runner make them too. Only one at a time.
class FaultLayer {
public:
    explicit FaultLayer(const QString& path, const std::vector<Fault>& faults = {});
    FaultLayer(const FaultLayer&) = delete;
    FaultLayer& operator=(const FaultLayer&) = delete;
    ~FaultLayer();

    template <class Action>
    void during(Action action) {
        const Watch watch;
        action();
    }

    /// Calls that failed so far.
    int hits() const;
    /// From now on nothing fails.
    void lift();
    /// Calls of a kind so far, failed ones included.
    int calls(Call call) const;

    /// From now on, what is changed in the file is noted.
    void noteChanges();
    std::vector<Change> changes() const;

    /// Bytes [begin, end) of the file cannot be read, as those of a bad sector.
    void spoil(qint64 begin, qint64 end);

private:
    struct Watch {
        Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
        ~Watch();
    };
};

/// While it lives, `times` calls of one kind fail, for whatever file, after `skip` that succeed.
/// For modules that are given a descriptor. Only one at a time, and none together with a
/// FaultLayer.
class FailingCalls {
public:
    FailingCalls(Call call, int error, int skip = 0, int times = 1);
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;
    ~FailingCalls();

    /// Calls that failed so far.
    int hits() const;
};

/// What somebody else does right before one call of a kind, for whatever file. The calls that the
/// action makes itself do not count. Only one at a time, and none together with the others.
class Meanwhile {
public:
    /// @param position of the call, from 1
    Meanwhile(Call call, int position, std::function<void()> action);
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;
    ~Meanwhile();

    /// Whether the call has been made.
    bool hasHappened() const;
};

/// For setClock: nothing but an error.
constexpr long brokenClock = -1;

/// What the clock tells the library from now on; the time of the system for 0.
void setClock(long seconds);

/// Descriptors that this process has open.
int openDescriptors();

}  // namespace mz::test
