#pragma once

// Where the demo's frames come from: a simulated acquisition, or somebody's pictures.

#include <QByteArray>
#include <QString>

#include <sys/time.h>

#include <memory>

#include <examples/support/bundle.h>

namespace examples {

class FrameSource {
public:
    static constexpr int framesPerSecond = 12;

    virtual ~FrameSource();

    virtual int count() const = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;
    /// Bits of a sample, 8 or 16.
    virtual int bits() const = 0;
    virtual QString description() const = 0;
    /// The fibres through which the frames are, or might have been, seen.
    virtual const Bundle& bundle() const = 0;
    /// width() * height() samples, rows from the top.
    virtual QByteArray image(int frame) = 0;
    /// Fraction of full power, negative for none.
    virtual float laserPower(int frame) const = 0;

    /// Whether 8-bit samples are given as 16-bit ones from now on.
    virtual void widen(bool) {}

    /// Frames follow each other at framesPerSecond, beginning when the source was made.
    timeval time(int frame) const;

protected:
    FrameSource();

private:
    timeval _start;
};

std::unique_ptr<FrameSource> simulatedSource(int frames);

/// The pictures of a folder, sorted by name. Throws Error as picturesOf and surveyPictures do.
std::unique_ptr<FrameSource> pictureSource(const QString& folder);

}  // namespace examples
