// Integer line stepping (Bresenham): every point of the line between two
// points, both ends included. The curve editors fill the table entries a
// fast pointer stroke jumps over with it.
#pragma once

#include <cstdint>

namespace tam {

class DeltaGen {
public:
    class OnDeltaGenListener {
    public:
        virtual ~OnDeltaGenListener() = default;
        virtual void OnDeltaGen(int x, int y) = 0;
    };

    // False when the two points are one.
    bool Start(int x0, int y0, int x1, int y1);
    // One step to the next point; false when already at the end.
    bool Gen();
    // Delivers every point from (x0, y0) to (x1, y1) to the listener.
    bool PreformGen(int x0, int y0, int x1, int y1, OnDeltaGenListener* listener);

    int GetX() const { return x; }
    int GetY() const { return y; }

private:
    bool steep = false;
    int x = 0;
    int y = 0;
    int endX = 0;
    int endY = 0;
    // 64-bit so that lines across the whole int range cannot overflow.
    int64_t dx = 0;
    int64_t dy = 0;
    int64_t error = 0;
    int stepX = 0;
    int stepY = 0;
    int64_t firstIncrement = 0;
    int64_t secondIncrement = 0;
    bool lastResult = false;
};

}  // namespace tam
