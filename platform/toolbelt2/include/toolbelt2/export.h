#pragma once

/// Marks what libtoolbelt2 exports; everything else in it is hidden.
#define TOOLBELT2_EXPORT __attribute__((visibility("default")))
