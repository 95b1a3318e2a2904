#pragma once

/// Marks what the shared library exports. Everything else in it stays hidden. In a client it keeps
/// the type information of the interfaces one and the same on both sides of the boundary.
#define LOKATA2_EXPORT __attribute__((visibility("default")))
