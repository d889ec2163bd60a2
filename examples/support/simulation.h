#pragma once

// A simulated acquisition of the instrument: a bundle of fibres looks at a textured scene that
// moves underneath it. Everything follows from fixed seeds, so every run records the same frames.

#include <cstdint>
#include <vector>

#include <examples/support/bundle.h>

namespace examples {

class Simulation {
public:
    static constexpr int width = 512;
    static constexpr int height = 512;
    static constexpr int framesPerSecond = 12;

    Simulation();

    const Bundle& bundle() const { return _bundle; }

    /// The laser's power during a frame, a fraction of the full power: raised in steps, as an
    /// operator does while looking for a good picture.
    static float laserPower(int frame);

    /// The image of a frame: 12-bit samples, rows from the top. The same for the same number,
    /// whatever was asked for before. The vector lives until the next call.
    const std::vector<std::uint16_t>& image(int frame);

private:
    void _paintScene();
    void _addCells();
    void _findNeighbours();
    void _weighSpots();
    float _sceneAt(float x, float y) const;
    std::vector<float> _fibreSignals(int frame) const;

    Bundle _bundle;
    std::vector<float> _scene;                // brightness from 0 to about 1, wraps around
    std::vector<float> _transmission;         // of each fibre
    std::vector<std::uint32_t> _neighbours;   // of all fibres, one after another
    std::vector<std::size_t> _neighboursEnd;  // where those of each fibre end
    std::vector<float> _spots;                // what each fibre adds to the pixels around it
    std::vector<float> _gaussian;             // a stock of normally distributed numbers
    std::vector<float> _light;
    std::vector<std::uint16_t> _image;
};

}  // namespace examples
