#pragma once

/// A colour in single precision. Components are not limited to 0 ... 1. Attributes of nodes have no alpha: it
/// is dropped when a colour is set, and 1 when one is asked for.
class KColor
{
public:
    float r, g, b, a;

    KColor() : r(0), g(0), b(0), a(1) {}
    explicit KColor(float grey) : r(grey), g(grey), b(grey), a(1) {}
    KColor(float rr, float gg, float bb, float aa = 1) : r(rr), g(gg), b(bb), a(aa) {}

    float operator[](unsigned i) const { return i == 0 ? r : i == 1 ? g : i == 2 ? b : a; }
    float& operator[](unsigned i) { return i == 0 ? r : i == 1 ? g : i == 2 ? b : a; }
    bool operator==(const KColor& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
    bool operator!=(const KColor& o) const { return !(*this == o); }
};
