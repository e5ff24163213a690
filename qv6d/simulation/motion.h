// What a simulated device does.
#pragma once

namespace qv6d
{

enum class motion
{
    tumble,  // turned by hand about all axes, smoothly and at random
    figure8, // waved in a figure of eight
    gesture, // lying level, waved in a figure of eight for a moment once a minute
    yaw,     // turned about the vertical only, lying level
    still,   // not moved
    walk,    // held in front of a walker, who looks at it
    pocket,  // in a walker's trouser pocket
};

} // namespace qv6d
