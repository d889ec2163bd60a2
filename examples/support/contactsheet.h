#pragma once

// One picture that shows several movies at a glance.

#include <QImage>
#include <QList>
#include <QString>

namespace examples {

struct ContactRow {
    QString label;  ///< letters from a to z, digits and spaces are drawn
    QString movie;  ///< file name
};

/// A row for each movie: its label, and thumbnails of its first, middle and last frame.
QImage contactSheet(const QList<ContactRow>& rows);

}  // namespace examples
