"""One simulated use of the library, with the truth beside what the library says."""

import json
import math
import random
import subprocess
import tempfile


class Simulated:
    """A case under a seed, which chooses movement, noise, heading and the directions of offset, step and passing."""

    def __init__(self, case, seed):
        self.case = case
        self.seed = seed
        chosen = random.Random(seed)
        self.heading = 360.0 * chosen.random()
        self.offset = scaled(direction(chosen), case.offset)
        self.step_direction = direction(chosen)
        self.passing_direction = direction(chosen)
        share = case.soft_iron / 100.0
        self.stretch = (1.0 + share, 1.0, 1.0 - share)  # of the sensor's axes

    def steps(self):
        return [(at, scaled(self.step_direction, size)) for at, size in self.case.steps]

    def offset_at(self, t):
        """The offset that the library has to find, µT: that of the field without soft iron where it is told of it."""
        reached = [self.offset] + [step for at, step in self.steps() if t >= at]
        sums = [sum(axis) for axis in zip(*reached)]
        return [s / k for s, k in zip(sums, self.stretch)] if self.case.compensated else sums

    def options(self):
        """Those of qv6d simulate."""
        case = self.case
        x, y, z = self.stretch
        given = ["--seed", str(self.seed), "--rate", str(case.rate), "--duration", str(case.duration),
                 "--offset", numbers(self.offset), "--noise", str(case.noise),
                 "--soft-iron", numbers((x, 0, 0, 0, y, 0, 0, 0, z)), "--motion", case.motion,
                 "--amplitude", str(case.amplitude), "--heading", f"{self.heading:.6f}", "--mag-unit", "counts"]
        if case.rest_after is not None:
            given += ["--rest-after", str(case.rest_after)]
        for at, step in self.steps():
            given += ["--step", numbers((at, *step))]
        if case.passing:
            at, length, size = case.passing
            given += ["--disturb", numbers((at, length, *scaled(self.passing_direction, size)))]
        return given

    def customer_file(self):
        lines = list(self.case.settings)
        if self.case.compensated:
            lines += [f"env.simtx[{axis}][{axis}] = {1.0 / k:.9f}" for axis, k in enumerate(self.stretch)]
        return "".join(f"{line}\n" for line in lines)

    def samples(self, tool):
        """(s, error of the offset in µT, grade) of every magnetometer sample that the library was given."""
        return self.replayed(tool)[0]

    def replayed(self, tool):
        """These samples, and the JSON of qv6d replay."""
        with tempfile.NamedTemporaryFile("w", suffix=".cfg") as config, tempfile.NamedTemporaryFile("r") as rows:
            config.write(self.customer_file())
            config.flush()
            with subprocess.Popen([tool, "simulate", *self.options()], stdout=subprocess.PIPE) as recording:
                done = subprocess.run(
                    [tool, "replay", "-", "--mag-unit", "counts", "--every", str(self.case.every), "--config",
                     config.name, "--output", rows.name, "--json"],
                    stdin=recording.stdout, capture_output=True, text=True, check=False)
            complaints = [line for line in done.stderr.splitlines() if line.startswith("qv6d:")]
            if recording.returncode != 0 or done.returncode != 0 or complaints:
                raise RuntimeError(f"{self.case.name}, seed {self.seed}: {done.stderr}")
            with open(rows.name, encoding="utf-8") as written: # it took the name over
                return [self.sample(row) for row in written.readlines()[1:]], json.loads(done.stdout)

    def sample(self, row):
        values = row.split(",")
        t = int(values[0]) / 1e9
        return t, math.dist(map(float, values[4:7]), self.offset_at(t)), int(values[8])


def direction(chosen):
    """Any, all equally likely."""
    z = 2.0 * chosen.random() - 1.0
    around = 2.0 * math.pi * chosen.random()
    across = math.sqrt(1.0 - z * z)
    return (across * math.cos(around), across * math.sin(around), z)


def scaled(vector, size):
    return [size * v for v in vector]


def numbers(values):
    return ",".join(f"{v:.6f}" for v in values)
