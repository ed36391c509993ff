#pragma once

namespace qvox {

/// Pixels per micrometre along each axis; 0 means that the resolution is undefined.
struct PixelResolution {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
};

inline bool operator==(const PixelResolution& a, const PixelResolution& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
inline bool operator!=(const PixelResolution& a, const PixelResolution& b) { return !(a == b); }

}  // namespace qvox
