#include <libDataIO/imagereader.h>

#include <QPainter>
#include <boost/smart_ptr/make_shared.hpp>

#include <examples/support/contactsheet.h>
#include <examples/support/movie.h>
#include <examples/support/reconstruction.h>

namespace examples {
namespace {

constexpr int thumbnailWidth = 200;
constexpr int thumbnailHeight = 160;
constexpr int gap = 8;
constexpr int letterScale = 2;
constexpr int labelHeight = 7 * letterScale + gap;

// Drawn by hand, because fonts need a window system and a machine that has some. Each letter is
// five columns of seven pixels, the lowest bit at the top.
constexpr unsigned char letters[][5] = {
    {0x20, 0x54, 0x54, 0x54, 0x78}, {0x7f, 0x48, 0x44, 0x44, 0x38}, {0x38, 0x44, 0x44, 0x44, 0x20},
    {0x38, 0x44, 0x44, 0x48, 0x7f}, {0x38, 0x54, 0x54, 0x54, 0x18}, {0x08, 0x7e, 0x09, 0x01, 0x02},
    {0x0c, 0x52, 0x52, 0x52, 0x3e}, {0x7f, 0x08, 0x04, 0x04, 0x78}, {0x00, 0x44, 0x7d, 0x40, 0x00},
    {0x20, 0x40, 0x44, 0x3d, 0x00}, {0x7f, 0x10, 0x28, 0x44, 0x00}, {0x00, 0x41, 0x7f, 0x40, 0x00},
    {0x7c, 0x04, 0x18, 0x04, 0x78}, {0x7c, 0x08, 0x04, 0x04, 0x78}, {0x38, 0x44, 0x44, 0x44, 0x38},
    {0x7c, 0x14, 0x14, 0x14, 0x08}, {0x08, 0x14, 0x14, 0x18, 0x7c}, {0x7c, 0x08, 0x04, 0x04, 0x08},
    {0x48, 0x54, 0x54, 0x54, 0x20}, {0x04, 0x3f, 0x44, 0x40, 0x20}, {0x3c, 0x40, 0x40, 0x20, 0x7c},
    {0x1c, 0x20, 0x40, 0x20, 0x1c}, {0x3c, 0x40, 0x30, 0x40, 0x3c}, {0x44, 0x28, 0x10, 0x28, 0x44},
    {0x0c, 0x50, 0x50, 0x50, 0x3c}, {0x44, 0x64, 0x54, 0x4c, 0x44}};
constexpr unsigned char digits[][5] = {
    {0x3e, 0x51, 0x49, 0x45, 0x3e}, {0x00, 0x42, 0x7f, 0x40, 0x00}, {0x42, 0x61, 0x51, 0x49, 0x46},
    {0x21, 0x41, 0x45, 0x4b, 0x31}, {0x18, 0x14, 0x12, 0x7f, 0x10}, {0x27, 0x45, 0x45, 0x45, 0x39},
    {0x3c, 0x4a, 0x49, 0x49, 0x30}, {0x01, 0x71, 0x09, 0x05, 0x03}, {0x36, 0x49, 0x49, 0x49, 0x36},
    {0x06, 0x49, 0x49, 0x29, 0x1e}};

const unsigned char* glyph(QChar character) {
    const ushort code = character.unicode();
    if (code >= 'a' && code <= 'z') return letters[code - 'a'];
    if (code >= '0' && code <= '9') return digits[code - '0'];
    return nullptr;
}

void drawLabel(QPainter& painter, int left, int top, const QString& label) {
    for (const QChar character : label) {
        if (const unsigned char* columns = glyph(character))
            for (int column = 0; column < 5; ++column)
                for (int row = 0; row < 7; ++row)
                    if ((columns[column] >> row & 1) != 0)
                        painter.fillRect(left + column * letterScale, top + row * letterScale,
                                         letterScale, letterScale, Qt::white);
        left += 6 * letterScale;
    }
}

}  // namespace

QImage contactSheet(const QList<ContactRow>& rows) {
    constexpr int rowHeight = labelHeight + thumbnailHeight + gap;
    QImage sheet(gap + 3 * (thumbnailWidth + gap), gap + static_cast<int>(rows.size()) * rowHeight,
                 QImage::Format_RGB32);
    sheet.fill(qRgb(40, 44, 52));
    QPainter painter(&sheet);
    int top = gap;
    for (const ContactRow& row : rows) {
        drawLabel(painter, gap, top, row.label);
        mz::ImageReader reader(row.movie, boost::make_shared<Reconstruction>());
        const int frames = static_cast<int>(reader.nbFrames());
        int left = gap;
        for (const int frame : {0, frames / 2, frames - 1}) {
            painter.drawImage(left, top + labelHeight,
                              thumbnailOf(reader, frame, QSize(thumbnailWidth, thumbnailHeight)));
            left += thumbnailWidth + gap;
        }
        top += rowHeight;
    }
    return sheet;
}

}  // namespace examples
