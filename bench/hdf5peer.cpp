#include <QFile>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <bench/hdf5peer.h>
#include <hdf5.h>

namespace bench {

namespace {

template <class Result>
Result checked(Result result) {
    if (result < 0) {
        std::fputs("HDF5 fails\n", stderr);
        std::exit(2);
    }
    return result;
}

/// An identifier that is given back.
class Id {
public:
    using Close = herr_t (*)(hid_t);
    Id() = default;
    Id(hid_t id, Close close) : _id(checked(id)), _close(close) {}
    Id(Id&& other) noexcept : _id(std::exchange(other._id, -1)), _close(other._close) {}
    Id& operator=(Id&& other) noexcept {
        std::swap(_id, other._id);
        std::swap(_close, other._close);
        return *this;
    }
    ~Id() {
        if (_id >= 0) _close(_id);
    }
    operator hid_t() const { return _id; }  // NOLINT: passed to the library's calls

private:
    hid_t _id = -1;
    Close _close = nullptr;
};

using Extent = std::array<hsize_t, 3>;

constexpr const char* framesName = "frames";
constexpr const char* timesName = "times";
constexpr const char* powersName = "powers";

Id frameLayout(const Extent& frame, int deflateLevel) {
    Id layout(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
    checked(H5Pset_chunk(layout, 3, frame.data()));
    checked(H5Pset_fill_time(layout, H5D_FILL_TIME_NEVER));
    if (deflateLevel > 0) checked(H5Pset_deflate(layout, static_cast<unsigned>(deflateLevel)));
    return layout;
}

/// The i-th frame's place in the dataset as it is now.
Id spaceOfFrame(hid_t dataset, int i, const Extent& frame) {
    Id space(H5Dget_space(dataset), H5Sclose);
    const Extent start{static_cast<hsize_t>(i), 0, 0};
    checked(
        H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, frame.data(), nullptr));
    return space;
}

template <class Value>
void writeList(hid_t file, const char* name, hid_t type, const std::vector<Value>& values) {
    const hsize_t count = values.size();
    const Id space(H5Screate_simple(1, &count, nullptr), H5Sclose);
    const Id set(H5Dcreate2(file, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
                 H5Dclose);
    checked(H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
}

template <class Value>
std::vector<Value> readList(hid_t file, const char* name, hid_t type) {
    const Id set(H5Dopen2(file, name, H5P_DEFAULT), H5Dclose);
    const Id space(H5Dget_space(set), H5Sclose);
    std::vector<Value> values(static_cast<size_t>(checked(H5Sget_simple_extent_npoints(space))));
    checked(H5Dread(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
    return values;
}

Id textType(size_t size) {
    Id type(H5Tcopy(H5T_C_S1), H5Tclose);
    checked(H5Tset_size(type, size));
    return type;
}

herr_t addAttributeLength(hid_t location, const char* name, const H5A_info_t* info, void* total) {
    const Id attribute(H5Aopen(location, name, H5P_DEFAULT), H5Aclose);
    const Id type(H5Aget_type(attribute), H5Tclose);
    std::string text(static_cast<size_t>(info->data_size), '\0');
    checked(H5Aread(attribute, type, text.data()));
    *static_cast<size_t*>(total) += text.size();
    return 0;
}

}  // namespace

struct Hdf5Writer::File {
    Extent frame;
    Id file;
    Id dataset;
    Id memory;
    int frames = 0;
};

Hdf5Writer::Hdf5Writer(const QString& path, const Material& material, int deflateLevel)
    : _file(std::make_unique<File>()) {
    _file->frame = {1, static_cast<hsize_t>(material.height()),
                    static_cast<hsize_t>(material.width())};
    Extent none = _file->frame;
    Extent unlimited = _file->frame;
    none[0] = 0;
    unlimited[0] = H5S_UNLIMITED;
    _file->file =
        Id(H5Fcreate(QFile::encodeName(path).constData(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT),
           H5Fclose);
    const Id space(H5Screate_simple(3, none.data(), unlimited.data()), H5Sclose);
    _file->dataset = Id(H5Dcreate2(_file->file, framesName, H5T_NATIVE_UINT16, space, H5P_DEFAULT,
                                   frameLayout(_file->frame, deflateLevel), H5P_DEFAULT),
                        H5Dclose);
    _file->memory = Id(H5Screate_simple(3, _file->frame.data(), nullptr), H5Sclose);
}

Hdf5Writer::~Hdf5Writer() = default;

void Hdf5Writer::add(const uint16_t* frame, Hdf5Way way) {
    Extent extent = _file->frame;
    const int i = _file->frames++;
    extent[0] = static_cast<hsize_t>(_file->frames);
    checked(H5Dset_extent(_file->dataset, extent.data()));
    if (way == Hdf5Way::PastFilters) {
        const Extent start{static_cast<hsize_t>(i), 0, 0};
        const auto bytes = static_cast<size_t>(_file->frame[1] * _file->frame[2] * 2);
        checked(H5Dwrite_chunk(_file->dataset, H5P_DEFAULT, 0, start.data(), bytes, frame));
        return;
    }
    const Id space = spaceOfFrame(_file->dataset, i, _file->frame);
    checked(H5Dwrite(_file->dataset, H5T_NATIVE_UINT16, _file->memory, space, H5P_DEFAULT, frame));
}

void Hdf5Writer::addKnowledge(const std::vector<int64_t>& times, const std::vector<float>& powers,
                              int attributes) {
    writeList(_file->file, timesName, H5T_NATIVE_INT64, times);
    writeList(_file->file, powersName, H5T_NATIVE_FLOAT, powers);
    const Id one(H5Screate(H5S_SCALAR), H5Sclose);
    for (int i = 0; i < attributes; ++i) {
        const std::string name = "setting_" + std::to_string(i);
        const std::string text = "value " + std::to_string(i);
        const Id type = textType(text.size());
        const Id attribute(
            H5Acreate2(_file->dataset, name.c_str(), type, one, H5P_DEFAULT, H5P_DEFAULT),
            H5Aclose);
        checked(H5Awrite(attribute, type, text.data()));
    }
}

struct Hdf5Reader::File {
    Id file;
    Id dataset;
    Extent frame{};
    Id memory;
    int frames = 0;
};

Hdf5Reader::Hdf5Reader(const QString& path) : _file(std::make_unique<File>()) {
    _file->file =
        Id(H5Fopen(QFile::encodeName(path).constData(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
    _file->dataset = Id(H5Dopen2(_file->file, framesName, H5P_DEFAULT), H5Dclose);
    const Id space(H5Dget_space(_file->dataset), H5Sclose);
    checked(H5Sget_simple_extent_dims(space, _file->frame.data(), nullptr));
    _file->frames = static_cast<int>(_file->frame[0]);
    _file->frame[0] = 1;
    _file->memory = Id(H5Screate_simple(3, _file->frame.data(), nullptr), H5Sclose);
}

Hdf5Reader::~Hdf5Reader() = default;

int Hdf5Reader::frames() const {
    return _file->frames;
}

void Hdf5Reader::read(int i, uint16_t* buffer, Hdf5Way way) {
    if (way == Hdf5Way::PastFilters) {
        const Extent start{static_cast<hsize_t>(i), 0, 0};
        uint32_t filters = 0;
        checked(H5Dread_chunk(_file->dataset, H5P_DEFAULT, start.data(), &filters, buffer));
        return;
    }
    const Id space = spaceOfFrame(_file->dataset, i, _file->frame);
    checked(H5Dread(_file->dataset, H5T_NATIVE_UINT16, _file->memory, space, H5P_DEFAULT, buffer));
}

std::vector<int64_t> Hdf5Reader::times() {
    return readList<int64_t>(_file->file, timesName, H5T_NATIVE_INT64);
}

std::vector<float> Hdf5Reader::powers() {
    return readList<float>(_file->file, powersName, H5T_NATIVE_FLOAT);
}

size_t Hdf5Reader::readAttributes() {
    size_t total = 0;
    checked(H5Aiterate2(_file->dataset, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, addAttributeLength,
                        &total));
    return total;
}

Sum sumHdf5(const QString& path, const Material& material, const std::vector<int>& order,
            Hdf5Way way) {
    Hdf5Reader reader(path);
    std::vector<uint16_t> frame(material.frameBytes() / 2);
    Sum sum = 0;
    for (const int i : order) {
        reader.read(i, frame.data(), way);
        sum += sumOf(frame.data(), material.frameBytes());
    }
    return sum;
}

}  // namespace bench
