#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <bench/movies.h>

namespace bench {

void setHeader(mz::ImageWriter& writer, const Material& material, int attributes) {
    writer.width(material.width());
    writer.height(material.height());
    writer.pixType(mz::MZ_USHORT);
    for (int i = 0; i < attributes; ++i)
        writer.attribute(QStringLiteral("setting_%1").arg(i), QStringLiteral("value %1").arg(i));
}

FrameData dataOfFrame(int i) {
    timeval time{};
    time.tv_sec = 1'000'000 + i / 10;
    time.tv_usec = i % 10 * 100'000;
    return {time, static_cast<float>(i % 255) / 254.0F};
}

void record(const QString& path, const Material& material, mz::CompressionType::e compression,
            mz::CompressionEffort::e effort, int attributes) {
    mz::ImageWriter writer;
    writer.create(path, false);
    setHeader(writer, material, attributes);
    writer.setCompression(compression);
    writer.setCompressionEffort(effort);
    for (int i = 0; i < material.frames(); ++i) {
        const FrameData data = dataOfFrame(i);
        writer.addFrame(material.frame(i), data.time, data.power);
    }
    writer.close();
}

Sum sumFrames(mz::ImageReader& reader, const std::vector<int>& order) {
    Sum sum = 0;
    for (const int i : order) {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, static_cast<unsigned int>(i));
        sum += sumOf(data, size.value_or(0));
    }
    return sum;
}

Sum sumFrames(const QString& path, const std::vector<int>& order) {
    mz::ImageReader reader(path);
    return sumFrames(reader, order);
}

}  // namespace bench
