#pragma once

// The same frames in a growing HDF5 dataset, one frame a chunk, never filled beforehand.

#include <QString>

#include <memory>

#include <bench/material.h>

namespace bench {

/// How a frame passes: through the library's usual calls, or past its filters and copies.
enum class Hdf5Way { Usual, PastFilters };

class Hdf5Writer {
public:
    /// @param deflateLevel 0 for raw frames, else the level of the gzip filter
    Hdf5Writer(const QString& path, const Material& material, int deflateLevel = 0);
    ~Hdf5Writer();
    void add(const uint16_t* frame, Hdf5Way way = Hdf5Way::Usual);
    /// Times in microseconds and powers as datasets, `attributes` texts as attributes.
    void addKnowledge(const std::vector<int64_t>& times, const std::vector<float>& powers,
                      int attributes);

private:
    struct File;
    std::unique_ptr<File> _file;
};

class Hdf5Reader {
public:
    explicit Hdf5Reader(const QString& path);
    ~Hdf5Reader();
    int frames() const;
    /// Fills `buffer`, which holds a frame.
    void read(int i, uint16_t* buffer, Hdf5Way way = Hdf5Way::Usual);
    std::vector<int64_t> times();
    std::vector<float> powers();
    /// Length of all texts together.
    size_t readAttributes();

private:
    struct File;
    std::unique_ptr<File> _file;
};

Sum sumHdf5(const QString& path, const Material& material, const std::vector<int>& order,
            Hdf5Way way = Hdf5Way::Usual);

}  // namespace bench
