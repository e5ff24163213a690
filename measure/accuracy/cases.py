"""What is simulated: one factor changed at a time around a base, then motions, upsets and the worst of everything."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Case:
    name: str  # of its picture
    label: str  # in the table
    rate: float = 50.0  # Hz
    every: int = 1  # the library is given every so many samples
    offset: float = 300.0  # µT, in a direction that the seed chooses
    noise: float = 0.3  # µT, standard deviation per axis
    soft_iron: float = 0.0  # %: one axis of the sensor longer and one shorter by so much
    compensated: bool = False  # the library is given the inverse of that
    settings: tuple = ()  # further lines of its customer file
    motion: str = "tumble"
    amplitude: float = 1.0  # share of the full movement
    rest_after: float | None = None  # s: not moved any more
    duration: float = 180.0  # s
    steps: tuple = ()  # (s, µT): by how much the offset jumps when, in another direction that the seed chooses
    passing: tuple | None = None  # (s, s, µT): when and how long something passes, and its largest field

    @property
    def upset(self):
        """When the last upset is over, s."""
        ends = [at for at, _ in self.steps]
        if self.passing:
            ends.append(self.passing[0] + self.passing[1])
        return max(ends, default=None)


GESTURES = {"motion": "gesture", "duration": 600.0}
STEP_20 = {"steps": ((90.0, 20.0),)}
STEP_100 = {"steps": ((90.0, 100.0),)}
LATE_STEP_20 = {"steps": ((330.0, 20.0),)}
LATE_STEP_100 = {"steps": ((330.0, 100.0),)}
MAGNET = {"steps": ((330.0, 100.0), (420.0, -100.0))}
PASSING = {"passing": (322.0, 4.0, 60.0)}
NORM = ("hcal.incmask = 4", "hcal.accuracy[0] = 20", "hcal.accuracy[1] = 10", "hcal.accuracy[2] = 6")
SPAN = ("hcal.motion.sendiffmin = 25",)
STRICT = {"settings": NORM}
WIDE = {"rate": 25.0, "settings": SPAN}
WORST = {"offset": 600.0, "noise": 1.0, "soft_iron": 10.0}

GROUPS = {
    "Base": [
        Case("base", "50 Hz, offset 300 µT, noise 0.3 µT, no soft iron, turned by hand"),
    ],
    "Rate": [
        Case("rate-10", "10 Hz", rate=10.0),
        Case("rate-100", "100 Hz", rate=100.0),
        Case("rate-100-every-4", "100 Hz, every 4th sample given to the library", rate=100.0, every=4),
    ],
    "Offset": [
        Case("offset-0", "0 µT", offset=0.0),
        Case("offset-600", "600 µT", offset=600.0),
    ],
    "Noise": [
        Case("noise-0", "0 µT, but whole counts of 0.15 µT", noise=0.0),
        Case("noise-1", "1 µT", noise=1.0),
    ],
    "Soft iron": [
        Case("soft-5", "5 %", soft_iron=5.0),
        Case("soft-10", "10 %", soft_iron=10.0),
        Case("soft-10-compensated", "10 %, compensated", soft_iron=10.0, compensated=True),
    ],
    "Motion": [
        Case("figure8", "figures of eight", motion="figure8"),
        Case("figure8-small", "figures of eight, 0.3 times as far", motion="figure8", amplitude=0.3),
        Case("gesture", "gestures: figures of eight for 8 s once a minute", **GESTURES),
        Case("walk", "in a walker's hand", motion="walk", duration=600.0),
        Case("pocket", "in a walker's pocket", motion="pocket", duration=600.0),
        Case("yaw", "turned about the vertical only", motion="yaw", duration=600.0),
        Case("still", "still", motion="still", duration=600.0),
    ],
    "Upset": [
        Case("step-20", "step of 20 µT at 90 s", **STEP_20),
        Case("step-100", "step of 100 µT at 90 s", **STEP_100),
        Case("step-20-gesture", "step of 20 µT at 330 s, gestures", **LATE_STEP_20, **GESTURES),
        Case("step-100-gesture", "step of 100 µT at 330 s, gestures", **LATE_STEP_100, **GESTURES),
        Case("step-100-still", "step of 100 µT at 90 s, still from 80 s on", **STEP_100, rest_after=80.0),
        Case("magnet", "magnet of 100 µT from 330 s to 420 s, gestures", **MAGNET, **GESTURES),
        Case("passing", "60 µT pass within 4 s at 90 s", passing=(90.0, 4.0, 60.0)),
        Case("passing-gesture", "60 µT pass within 4 s during a gesture", **PASSING, **GESTURES),
    ],
    "Upset, strict grades": [
        Case("strict-step-20-gesture", "step of 20 µT at 330 s, gestures", **LATE_STEP_20, **GESTURES, **STRICT),
        Case("strict-step-100-gesture", "step of 100 µT at 330 s, gestures", **LATE_STEP_100, **GESTURES, **STRICT),
        Case("strict-step-100-still", "step of 100 µT at 90 s, still from 80 s on", **STEP_100, rest_after=80.0,
             **STRICT),
        Case("strict-magnet", "magnet of 100 µT from 330 s to 420 s, gestures", **MAGNET, **GESTURES, **STRICT),
        Case("strict-passing-gesture", "60 µT pass within 4 s during a gesture", **PASSING, **GESTURES, **STRICT),
        Case("strict-gesture", "no upset, gestures", **GESTURES, **STRICT),
    ],
    "Wide spans": [
        Case("wide-rate-100", "100 Hz, turned by hand", rate=100.0, settings=SPAN),
        Case("wide", "25 Hz, turned by hand", **WIDE),
        Case("wide-figure8-small", "25 Hz, figures of eight, 0.3 times as far", motion="figure8", amplitude=0.3,
             **WIDE),
        Case("wide-gesture", "25 Hz, gestures", **WIDE, **GESTURES),
    ],
    "600 µT, noise 1 µT, soft iron 10 %, gestures": [
        Case("worst-50", "50 Hz", **GESTURES, **WORST),
        Case("worst-50-strict", "50 Hz, strict grades", **GESTURES, **WORST, **STRICT),
        Case("worst-50-compensated", "50 Hz, soft iron compensated", compensated=True, **GESTURES, **WORST),
        Case("worst-25", "25 Hz, compensated, wide spans, strict grades", rate=25.0, compensated=True,
             settings=SPAN + NORM, **GESTURES, **WORST),
    ],
}

CASES = [case for cases in GROUPS.values() for case in cases]
