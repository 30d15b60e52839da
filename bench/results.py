"""The figures of a run, and what they are held against."""
import json
import pathlib


class Results:
    def __init__(self, folder):
        folder = pathlib.Path(folder)
        with open(folder / "bench.json", encoding="utf-8") as file:
            bench = json.load(file)
        self.context = bench["context"]
        self.operations = {}
        for row in bench["benchmarks"]:
            row["item"], row["bare"] = row["label"].split(": ", 1)
            self.operations[row["name"].split("/iterations")[0]] = row
        self.left_out = {}
        self.peers = {}
        self.commands = {}
        for line in read_lines(folder / "peers.jsonl"):
            if "left_out" in line:
                self.left_out[line["peer"]] = line["left_out"]
            else:
                key = (line["peer"], line["operation"])
                self.peers[key] = min(line["us"], self.peers.get(key, line["us"]))
        for line in read_lines(folder / "commands.jsonl"):
            if "left_out" in line:
                self.left_out[line["peer"]] = line["left_out"]
            else:
                self.commands[line["peer"], line["operation"], line["items"]] = line
        with open(folder / "scale.json", encoding="utf-8") as file:
            self.scale = json.load(file)

    def operation(self, key, counter):
        row = self.operations.get(key)
        return None if row is None else row[counter]


def read_lines(path):
    if not path.exists():
        return []
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file if line.strip()]


def quotient(above, below):
    return None if above is None or not below else above / below


class Goal:
    """A measured figure and its limit: at most, or for `least`, at least."""

    def __init__(self, what, limit, measure, unit="", least=False):
        self.what, self.limit, self.measure, self.unit, self.least = what, limit, measure, unit, least

    def is_met(self, figure):
        return figure >= self.limit if self.least else figure <= self.limit


def times_floor(what, limit, key):
    return Goal(f"{what}, times its floor", limit, lambda r: r.operation(key, "ratio"), "x")


def calls(what, limit, key):
    """To one decimal: the few calls of a listing are shared by all."""
    return Goal(f"{what}, system calls", limit, lambda r: rounded(r.operation(key, "calls")))


def rounded(figure):
    return None if figure is None else round(figure, 1)


def faster(what, limit, key, peer, operation):
    return Goal(f"{what}, times as fast as {peer}", limit,
                lambda r: quotient(r.peers.get((peer, operation)), r.operation(key, "library_us")),
                "x", least=True)


def growth(what, limit, large, small, counter):
    return Goal(what, limit,
                lambda r: quotient(r.operation(large, counter), r.operation(small, counter)), "x")


def command(results, name, count, counter, peer="contactmgr"):
    return results.commands.get((peer, name, count), {}).get(counter)


GOALS = [
    times_floor("text read, nothing asked", 1.75, "read a text, nothing asked"),
    times_floor("text read, everything asked", 3, "read a text, everything asked"),
    faster("text read, nothing asked", 3.5, "read a text, nothing asked", "libebook-contacts",
           "read"),
    faster("text read, everything asked", 2, "read a text, everything asked", "libebook-contacts",
           "read"),
    times_floor("text for a save", 3, "text for a save"),
    times_floor("text for a caller", 5, "text for a caller"),
    faster("text for a save", 4, "text for a save", "libebook-contacts", "text"),
    faster("text for a caller", 2.5, "text for a caller", "libebook-contacts", "text"),
    times_floor("open by id", 1.5, "open by id, read, close/10,000"),
    calls("open by id", 5, "open by id, read, close/10,000"),
    faster("open by id", 3, "open by id, read, close/10,000", "evolution-data-server", "open"),
    times_floor("walk", 1.5, "walk/10,000"),
    calls("walk, a contact", 6, "walk/10,000"),
    faster("walk", 1, "walk/10,000", "evolution-data-server", "walk"),
    Goal("contactmgr list, times as fast as khard list", 40,
         lambda r: quotient(command(r, "list", 1000, "us", "khard"),
                            command(r, "list", 1000, "us")), "x", least=True),
    times_floor("change report, few changed", 1.1, "change report, few changed/10,000"),
    times_floor("change report, all changed", 2.3, "change report, all changed/10,000"),
    times_floor("poll of all stores", 1.5, "poll of all stores"),
    calls("poll of all stores, 5 folders", 5, "poll of all stores"),
    times_floor("header walk", 1.3, "header walk/10,000"),
    calls("header walk, a message", 3, "header walk/10,000"),
    calls("save, contact held", 20, "save, held"),
    times_floor("create and save beside 100,000", 2.2, "create and save/100,000"),
    growth("create and save beside 100,000, times the cost beside 1,000", 1.2,
           "create and save/100,000", "create and save/1,000", "library_us"),
    growth("the same, two folders in turn", 1.2, "create and save, two folders/100,000",
           "create and save, two folders/1,000", "library_us"),
    faster("create and save", 1, "create and save/10,000", "evolution-data-server", "create"),
    growth("walk of 100,000, times the memory of 1,000", 1.1, "walk/100,000", "walk/1,000",
           "peak_bytes"),
    Goal("contactmgr list of 100,000, times the memory of 1,000", 1.1,
         lambda r: quotient(command(r, "list", 100000, "peak_bytes"),
                            command(r, "list", 1000, "peak_bytes")), "x"),
    times_floor("start of contactmgr", 1.5, "start of the tool"),
]
