#!/usr/bin/python3
"""The work of import-table.sh. Usage: import_table.py TOOL EVOLUTION WORK [--list] [FOLDER...]"""
import collections
import json
import logging
import os
import pathlib
import re
import subprocess
import sys
import urllib.parse

import vobject

logging.disable(logging.CRITICAL)
KINDS = ("names", "addresses", "numbers", "mail")


def text_of(data):
    """The text of a file, whatever its encoding."""
    for mark, codec in ((b"\xff\xfe", "utf-16"), (b"\xfe\xff", "utf-16"), (b"\xef\xbb\xbf", "utf-8-sig")):
        if data.startswith(mark):
            return data.decode(codec)
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError:
        return data.decode("windows-1252", "replace")


def split(data):
    """The cards of a file in bytes, with those inside of them."""
    if data[:2] in (b"\xff\xfe", b"\xfe\xff"):
        data = data.decode("utf-16").encode()
    depth, lines = 0, []
    for line in re.split(rb"\r\n|\n|\r", data.removeprefix(b"\xef\xbb\xbf")):
        word = line.rstrip().upper()
        if word == b"BEGIN:VCARD":
            if depth and not lines[-1].rstrip().upper().endswith(b"AGENT:"):
                yield b"\r\n".join(lines) + b"\r\n"
                depth, lines = 0, []
            depth += 1
        if depth:
            lines.append(line)
        if word == b"END:VCARD" and depth:
            depth -= 1
            if not depth:
                yield b"\r\n".join(lines) + b"\r\n"
                lines = []
    if lines:
        yield b"\r\n".join(lines) + b"\r\n"


def squeeze(text):
    """A text without the differences that nobody would see."""
    return re.sub(r"[\s,;\\]+", " ", text.replace("\\n", " ").replace("\\N", " ")).strip()


def number(text):
    text = urllib.parse.unquote(text.removeprefix("tel:"))
    return squeeze(re.sub("[; ]ext=", " ext. ", text))


def mail(text):
    match = re.search(r"[^\s<>:]+@[^\s<>?]+", text)
    return match.group().lower() if match else ""


def record(names, addresses, numbers, mails):
    keep = lambda values: {value for value in values if value}
    return {"names": keep(map(squeeze, names)), "addresses": keep(map(squeeze, addresses)),
            "numbers": keep(map(number, numbers)), "mail": keep(map(mail, mails))}


class Book:
    """The address book that the cards go into."""

    def __init__(self, tool, folder):
        self.command = [tool, "--store", folder, "--mailbox", "all@example.org"]
        os.makedirs(folder + "/example.org/all/cur")

    def run(self, *arguments, data=b""):
        return subprocess.run([*self.command, *arguments], input=data, capture_output=True, check=False)

    def take(self, data):
        """What came in of a card, or why it did not."""
        made = self.run("import", "-", data=data)
        if not made.stdout:
            return made.stderr.decode("utf-8", "replace").strip()
        contact = json.loads(self.run("show", "--json", made.stdout.decode().strip()).stdout)
        parts = ("postOfficeBox", "extendedAddress", "street", "locality", "region", "postalCode", "country")
        return record([contact["properties"].get("FullName", "")],
                      [" ".join(address[part] for part in parts) for address in contact["addresses"]],
                      [each["number"] for each in contact["telephones"]],
                      [each["address"] for each in contact["emails"]])


def by_vobject(data):
    try:
        card = vobject.readOne(text_of(data), allowQP=True)
    except Exception:  # whatever it raises, the card is not read
        return None
    flat = lambda part: " ".join(part) if isinstance(part, list) else part
    parts = ("box", "extended", "street", "city", "region", "code", "country")
    address = lambda line: line.value if isinstance(line.value, str) else \
        " ".join(flat(getattr(line.value, part)) for part in parts)
    lines = lambda name: card.contents.get(name, [])
    return record([line.value for line in lines("fn")[:1]], map(address, lines("adr")),
                  [line.value for line in lines("tel")], [line.value for line in lines("email")])


def by_evolution(program, paths):
    listed = subprocess.run([program], input="\n".join(paths), capture_output=True, check=True, text=True)
    for line in listed.stdout.split("\n")[:-1]:
        card = json.loads(line)
        joined = lambda name: [" ".join(values) for values in card.get(name, [])]
        yield record(joined("FN")[:1], joined("ADR"), joined("TEL"), joined("EMAIL")) if card else None


def main():
    tool, program, work, *rest = sys.argv[1:]
    is_list = "--list" in rest
    folders = [each for each in rest if each != "--list"] or ["tests/data/vcards"]
    cards = []
    for folder in folders:
        for path in sorted(pathlib.Path(folder).glob("*.vcf")):
            for count, data in enumerate(split(path.read_bytes()), 1):
                file = f"{work}/{len(cards)}.vcf"
                pathlib.Path(file).write_bytes(data)
                cards.append((f"{path.name} card {count}", data, file))
    book = Book(tool, work + "/store")
    totals = collections.defaultdict(collections.Counter)
    left_out = []
    theirs = by_evolution(program, [file for _, _, file in cards])
    for (name, data, _), evolution in zip(cards, theirs):
        found = re.search(rb"^VERSION:\s*(\S+)", data, re.M | re.I)
        version = found.group(1).decode() if found else "none"
        ours = book.take(data)
        is_group = isinstance(ours, str) and "left out: it is " in ours
        for row in (totals[version], totals["all"]):
            row["cards"] += 1
            row["groups"] += is_group
            row["ours"] += isinstance(ours, dict)
            row["persons"] += not is_group
        if isinstance(ours, str):
            left_out.append(f"{name}: {ours}")
        for peer, other in (("vobject", by_vobject(data)), ("libebook", evolution)):
            for row in (totals[version], totals["all"]):
                row[peer] += other is not None and not is_group
            if other is None or not isinstance(ours, dict):
                continue
            for kind in KINDS:
                same = other[kind] & ours[kind]
                for row in (totals[version], totals["all"]):
                    row[peer, kind] += len(other[kind])
                    row[peer, kind, "same"] += len(same)
                for value in other[kind] - ours[kind] if is_list else ():
                    print(f"{name}: {peer} has of {kind}: {value!r}, here: {sorted(ours[kind])}")
    if is_list:
        print("\n".join(left_out) + "\n")
    columns = ["version", "cards", "groups", "persons", "contactmgr", "vobject", "libebook"]
    columns += [f"{kind}, {peer}" for peer in ("vobject", "libebook") for kind in KINDS]
    print("| " + " | ".join(columns) + " |\n" + "| --- " * len(columns) + "|")
    for version in sorted(totals):
        row = totals[version]
        cells = [version, *(row[key] for key in ("cards", "groups", "persons", "ours", "vobject", "libebook"))]
        cells += [f"{row[peer, kind, 'same']} of {row[peer, kind]}"
                  for peer in ("vobject", "libebook") for kind in KINDS]
        print("| " + " | ".join(map(str, cells)) + " |")


main()
