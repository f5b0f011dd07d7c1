"""Holds what gcovr has measured against the list of what is known not to be reached; see scripts/coverage."""
import csv
import json
import pathlib
import sys


class Count:
    def __init__(self):
        self.lines = self.lines_reached = self.branches = self.branches_reached = 0

    def add(self, line):
        self.lines += 1
        self.lines_reached += line["count"] > 0
        self.branches += len(line["branches"])
        self.branches_reached += sum(branch["count"] > 0 for branch in line["branches"])

    def percentages(self):
        return (100 * self.lines_reached / max(self.lines, 1),
                100 * self.branches_reached / max(self.branches, 1))

    def __str__(self):
        of_lines, of_branches = self.percentages()
        return (f"lines {self.lines_reached:5} of {self.lines:5} {of_lines:6.2f} %   "
                f"branches {self.branches_reached:5} of {self.branches:5} {of_branches:6.2f} %")


def measured_lines(file):
    return [line for line in file["lines"] if not line.get("gcovr/noncode")]


def kind_of_gap(line):
    if line["count"] == 0:
        return "line"
    return "branch" if any(branch["count"] == 0 for branch in line["branches"]) else None


def read_list(path):
    with open(path, encoding="ascii", newline="") as file:
        rows = csv.reader((row for row in file if not row.startswith("#")), delimiter="\t", quoting=csv.QUOTE_NONE)
        return {tuple(row[:3]): row[3] if len(row) > 3 else "" for row in rows}


def main():
    measurement, project, list_path = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
    lowest = [float(number) for number in sys.argv[4:6]]
    reasons = read_list(list_path)
    complaints, gaps, total, texts_of = [], {}, Count(), {}
    for file in sorted(json.loads(pathlib.Path(measurement).read_text())["files"], key=lambda file: file["file"]):
        name, count = file["file"], Count()
        texts = [text.strip() for text in (project / name).read_text().split("\n")]
        texts_of[name] = set(texts)
        for line in measured_lines(file):
            count.add(line)
            total.add(line)
            kind = kind_of_gap(line)
            if kind:
                gaps.setdefault((name, kind, texts[line["line_number"] - 1]), []).append(line["line_number"])
        print(f"{count}   {name}")
    print(f"{total}   in all")

    for gap, numbers in gaps.items():
        name, kind, text = gap
        reason = reasons.get(gap)
        print(f"{name}:{','.join(map(str, numbers))}: {kind} not reached: {text}: {reason or 'NO REASON LISTED'}")
        if not reason:
            complaints.append(f"{name}:{numbers[0]}: this {kind} is not reached and does not stand in {list_path}: {text}")
    for name, kind, text in reasons:
        if text not in texts_of.get(name, ()):
            complaints.append(f"{list_path}: {name} has no such line any more: {text}")
        elif (name, kind, text) not in gaps:
            print(f"{name}: listed as not reached, but reached this time: {kind}: {text}")
    for what, reached, wanted in zip(("lines", "branches"), total.percentages(), lowest):
        if reached < wanted:
            complaints.append(f"{reached:.2f} % of the {what} are reached, where {wanted} % are wanted")
    for complaint in complaints:
        print(complaint, file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
