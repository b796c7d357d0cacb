#pragma once
// appendBezierPathWithArcFromPoint:toPoint:radius: as geometry: a line from the current
// point to where the circle touches the first tangent, then the arc to the second.

#include "platform/AppKit.h"

namespace qn::platform::panel {

struct ArcSegment {
    // When the three points give no corner (a point repeated, or all on one line) the
    // path only goes straight to the first point.
    bool degenerate = false;
    NSPoint lineTo;
    NSPoint center;
    double startAngle = 0;
    double endAngle = 0;
    bool counterClockwise = true;  // in coordinates with y upwards
    NSPoint end;                   // the new current point
};

ArcSegment arcFromPoint(NSPoint current, NSPoint from, NSPoint to, double radius);

}  // namespace qn::platform::panel
