"""How often the verdict on trust is right: what was wrong at grade 3, beside what the verdict says of it."""

from dataclasses import dataclass

from figures import is_wrong

LONG = 5.0  # s: a contradiction that is longer has to be found
APART = 1.0  # s: contradictions that are nearer are one
FOUND = 0.5  # share of a contradiction that the verdict has to cover

VERDICTS = ("held", "contradicted", "unjudged")


@dataclass
class Judged:
    verdict: str
    long: int  # contradictions
    found: int  # of these
    wrong: float  # s
    said: float  # s that the verdict calls wrong

    @property
    def accused(self):
        """Of a wrong grade that never was."""
        return self.verdict == "contradicted" and self.wrong == 0.0


def contradictions(samples, interval):
    """(from, to), s, of (s, error in µT, grade) at equal intervals."""
    spans = []
    for t, error, grade in samples:
        if not is_wrong(error, grade):
            continue
        if spans and t - spans[-1][1] <= APART:
            spans[-1][1] = t + interval
        else:
            spans.append([t, t + interval])
    return spans


def covered(span, said):
    return sum(max(0.0, min(span[1], to) - max(span[0], begin)) for begin, to in said) / (span[1] - span[0])


def judged(samples, trust):
    """`trust` is the verdict in the JSON of qv6d replay, whose times begin with the recording."""
    interval = (samples[-1][0] - samples[0][0]) / (len(samples) - 1)
    spans = contradictions(samples, interval)
    said = [(c["from_s"], c["to_s"]) for c in trust["contradictions"]]
    long = [span for span in spans if span[1] - span[0] > LONG]
    return Judged(trust["verdict"], len(long), sum(covered(span, said) >= FOUND for span in long),
                  sum(to - begin for begin, to in spans), trust["wrong_s"])


def summary(all_judged):
    return {verdict: sum(j.verdict == verdict for j in all_judged) for verdict in VERDICTS} | {
        "recordings": len(all_judged),
        "long": sum(j.long for j in all_judged), "found": sum(j.found for j in all_judged),
        "accused": sum(j.accused for j in all_judged),
        "wrong_s": sum(j.wrong for j in all_judged), "said_s": sum(j.said for j in all_judged),
    }


def total(summaries):
    return {key: sum(s[key] for s in summaries) for key in summaries[0]}
