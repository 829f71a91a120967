"""What is kept between runs: results, and the mutants that are known to make no difference."""

import dataclasses
import hashlib
import json
import re

from mutation.trial import Result

HEADING = re.compile(r"\[(\S+) (\S+) (\S+?)(?: #(\d+))?\]")


def digest(text):
    return hashlib.sha1(text.encode()).hexdigest()[:12]


class Results:
    """In a JSON file, written after every mutant: a run can be taken up where it was stopped."""

    def __init__(self, path):
        self.path = path
        self.by_id = {}

    def load(self):
        if self.path.exists():
            self.by_id = {entry["id"]: Result(**{key: entry[key] for key in ("id", "outcome", "by", "seconds", "source")})
                          for entry in json.loads(self.path.read_text())["mutants"]}

    def save(self, mutants):
        """mutants: all there are, by id."""
        rows = []
        for result in self.by_id.values():
            mutant = mutants.get(result.id)
            if mutant:
                rows.append({**dataclasses.asdict(result), "file": mutant.path, "line": mutant.line,
                             "function": mutant.function, "operator": mutant.operator, "before": mutant.before,
                             "after": mutant.after})
        staged = self.path.with_suffix(".new")
        staged.write_text(json.dumps({"mutants": rows}, indent=1) + "\n")
        staged.replace(self.path)


def read_equivalents(path, mutants):
    """Ids of the listed mutants, with their reasons. An entry is

        [config/Style.cpp ruleApplies bound]     file, function, operator; "#2" for the second such mutant
        - the lines as they are
        + the lines as they become; several such lines are as many mutants
        why nobody can tell the difference

    and must be a mutant that exists."""
    by_place = {}
    for mutant in mutants:
        by_place.setdefault(mutant.place, []).append(mutant)
    reasons, errors = {}, []
    for number, entry in enumerate(re.split(r"\n\s*\n", path.read_text() if path.exists() else ""), 1):
        lines = [line for line in entry.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        heading = HEADING.fullmatch(lines[0])
        afters = [line[1:].strip() for line in lines[2:] if line.startswith("+")]
        reason = " ".join(lines[2 + len(afters) :])
        if not heading or not lines[1].startswith("- ") or not afters or not reason:
            errors.append(f"entry {number} ({lines[0]}): not heading, -, + and reason")
            continue
        occurrence = int(heading.group(4) or 1)
        for after in afters:
            found = by_place.get((*heading.groups()[:3], lines[1][2:].strip(), after), [])
            if occurrence > len(found):
                errors.append(f"entry {number} ({lines[0]}): there is no such mutant: {after}")
            else:
                reasons[found[occurrence - 1].id] = reason
    return reasons, errors
