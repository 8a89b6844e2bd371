#include "sound/tamDeltaGen.h"

#include <utility>

namespace tam {

bool DeltaGen::Start(int x0, int y0, int x1, int y1) {
    x = x0;
    y = y0;
    endX = x1;
    endY = y1;
    stepX = x1 < x0 ? -1 : 1;
    stepY = y1 < y0 ? -1 : 1;
    dx = static_cast<int64_t>(x1) - x0;
    dy = static_cast<int64_t>(y1) - y0;
    dx = dx < 0 ? -dx : dx;
    dy = dy < 0 ? -dy : dy;
    steep = dy > dx;
    if (steep) {
        std::swap(dx, dy);
        std::swap(stepX, stepY);
    }
    firstIncrement = 2 * dy;
    secondIncrement = 2 * (dy - dx);
    error = 2 * dy - dx;
    lastResult = !(x0 == x1 && y0 == y1);
    return lastResult;
}

bool DeltaGen::Gen() {
    if (x == endX && y == endY) {
        lastResult = false;
        return false;
    }
    // After the swap in Start, step x is the step along the longer axis.
    if (steep) {
        y += stepX;
        if (error < 0) {
            error += firstIncrement;
            return lastResult = true;
        }
        x += stepY;
    } else {
        x += stepX;
        if (error < 0) {
            error += firstIncrement;
            return lastResult = true;
        }
        y += stepY;
    }
    error += secondIncrement;
    return lastResult = true;
}

bool DeltaGen::PreformGen(int x0, int y0, int x1, int y1, OnDeltaGenListener* listener) {
    if (!Start(x0, y0, x1, y1)) return false;
    do {
        if (listener != nullptr) listener->OnDeltaGen(x, y);
    } while (Gen());
    return true;
}

}  // namespace tam
