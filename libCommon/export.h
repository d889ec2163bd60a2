#pragma once

// DATAIO_EXPORT marks what the shared library offers to its callers; everything else is hidden.
// Exception classes and interfaces must carry it too, or a caller could not catch or implement
// them.

#define DATAIO_EXPORT __attribute__((visibility("default")))
