#include "platform/linux/panel/ArcFromPoint.h"

#include <algorithm>
#include <cmath>

namespace qn::platform::panel {

ArcSegment arcFromPoint(NSPoint current, NSPoint from, NSPoint to, double radius) {
    ArcSegment arc;
    const double ux = current.x - from.x, uy = current.y - from.y;
    const double vx = to.x - from.x, vy = to.y - from.y;
    const double lu = std::hypot(ux, uy), lv = std::hypot(vx, vy);
    const double cross = ux * vy - uy * vx;
    if (lu == 0 || lv == 0 || radius <= 0 || std::fabs(cross) < 1e-9 * lu * lv) {
        arc.degenerate = true;
        arc.lineTo = from;
        arc.end = from;
        return arc;
    }
    const double nux = ux / lu, nuy = uy / lu, nvx = vx / lv, nvy = vy / lv;
    const double angle = std::acos(std::clamp(nux * nvx + nuy * nvy, -1.0, 1.0));
    const double tangent = radius / std::tan(angle / 2);
    arc.lineTo = NSPoint{from.x + nux * tangent, from.y + nuy * tangent};
    arc.end = NSPoint{from.x + nvx * tangent, from.y + nvy * tangent};
    double bx = nux + nvx, by = nuy + nvy;
    const double lb = std::hypot(bx, by);
    bx /= lb;
    by /= lb;
    const double toCenter = radius / std::sin(angle / 2);
    arc.center = NSPoint{from.x + bx * toCenter, from.y + by * toCenter};
    arc.startAngle = std::atan2(arc.lineTo.y - arc.center.y, arc.lineTo.x - arc.center.x);
    arc.endAngle = std::atan2(arc.end.y - arc.center.y, arc.end.x - arc.center.x);
    // Turning left from the way in (current to from) to the way out means a
    // counter-clockwise arc.
    arc.counterClockwise = (from.x - current.x) * vy - (from.y - current.y) * vx > 0;
    return arc;
}

}  // namespace qn::platform::panel
