#include "qv6dservice.h"

const char *qv6ds_text(uint32_t reason)
{
    static constexpr struct
    {
        uint32_t bit;
        const char *text;
    } texts[] = {
        {QV6DS_TURN, "Too few directions were seen: turn the device about all axes."},
        {QV6DS_DISTURBED, "Something magnetic is near: move away from magnets, steel and cars."},
        {QV6DS_JUMPED, "The field jumped while the device did not turn: turn it about all axes to confirm the offset."},
        {QV6DS_RESUMED, "The offset is that of an earlier run: turn the device about all axes to confirm it."},
        {QV6DS_NO_ACCELERATION, "There is no acceleration for this field: start the accelerometer."},
        {QV6DS_FREE_FALL, "There is no gravity to be felt: the attitude is the one before."},
        {QV6DS_VERTICAL, "The field lies along gravity: there is no heading here."},
        {QV6DS_WAITING, "The newest field waits for a sample of another sensor, or for the end of the batch."},
        {QV6DS_REFUSED, "Samples were refused in the last second: not finite, stuck, saturated or glitches."},
        {QV6DS_TIME, "Samples came twice or backward in time, or a clock was set, in the last second."},
        {QV6DS_NOT_SAVED, "The last save failed: look at the directory, its owner and the space left."},
        {QV6DS_SOFT_IRON, "The field's norm depends on the direction: measure the soft-iron matrix of this device."},
        {QV6DS_UPRIGHT, "The y axis points up or down: it has no azimuth here, but the quaternion is right."},
        {QV6DS_OTHER_FIELD,
         "The field is not the one of this place: something magnetic is near, or the place is wrong."},
    };
    for (const auto &known : texts)
        if ((reason & known.bit) != 0)
            return known.text;
    return reason == 0 ? "Nothing is wrong." : "There is a reason that this version does not know.";
}
