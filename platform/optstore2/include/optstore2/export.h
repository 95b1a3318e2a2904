#pragma once

/// Marks what this shared library offers to others; all else stays hidden.
#define OPTSTORE2_EXPORT __attribute__((visibility("default")))
