#include <examples/support/pictures.h>
#include <examples/support/simulation.h>
#include <examples/support/source.h>

namespace examples {
namespace {

class SimulatedSource : public FrameSource {
public:
    explicit SimulatedSource(int frames) : _frames(frames) {}

    int count() const override { return _frames; }
    int width() const override { return Simulation::width; }
    int height() const override { return Simulation::height; }
    int bits() const override { return 16; }
    QString description() const override {
        return QStringLiteral(
                   "Simulated acquisition: %1 fibres over a moving scene, 12-bit samples")
            .arg(bundle().count());
    }
    const Bundle& bundle() const override { return _simulation.bundle(); }
    QByteArray image(int frame) override {
        const auto& image = _simulation.image(frame);
        return QByteArray(reinterpret_cast<const char*>(image.data()),
                          static_cast<qsizetype>(2 * image.size()));
    }
    float laserPower(int frame) const override { return Simulation::laserPower(frame); }

private:
    static_assert(Simulation::framesPerSecond == framesPerSecond);
    int _frames;
    Simulation _simulation;
};

class PictureSource : public FrameSource {
public:
    explicit PictureSource(const QString& folder)
        : _folder(folder),
          _series(surveyPictures(picturesOf(folder))),
          _bits(_series.bits),
          _bundle(hexagonalBundle(_series.width, _series.height)) {}

    int count() const override { return static_cast<int>(_series.files.size()); }
    int width() const override { return _series.width; }
    int height() const override { return _series.height; }
    int bits() const override { return _bits; }
    QString description() const override {
        return QStringLiteral("%1 pictures of %2 bits from %3")
            .arg(count())
            .arg(_series.bits)
            .arg(_folder);
    }
    const Bundle& bundle() const override { return _bundle; }
    QByteArray image(int frame) override {
        return loadSamples(_series.files[frame], _series, _bits);
    }
    float laserPower(int) const override { return -1.0F; }
    void widen(bool wide) override { _bits = wide ? 16 : _series.bits; }

private:
    QString _folder;
    PictureSeries _series;
    int _bits;
    Bundle _bundle;
};

}  // namespace

FrameSource::FrameSource() {
    gettimeofday(&_start, nullptr);
}

FrameSource::~FrameSource() = default;

timeval FrameSource::time(int frame) const {
    const qint64 microseconds = _start.tv_usec + qint64(frame) * 1000000 / framesPerSecond;
    timeval time;
    time.tv_sec = _start.tv_sec + microseconds / 1000000;
    time.tv_usec = microseconds % 1000000;
    return time;
}

std::unique_ptr<FrameSource> simulatedSource(int frames) {
    return std::make_unique<SimulatedSource>(frames);
}

std::unique_ptr<FrameSource> pictureSource(const QString& folder) {
    return std::make_unique<PictureSource>(folder);
}

}  // namespace examples
