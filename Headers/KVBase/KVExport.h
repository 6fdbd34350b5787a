#pragma once

/// Marks what the shared library exports; everything else in it is hidden.
#define KV_EXPORT __attribute__((visibility("default")))
