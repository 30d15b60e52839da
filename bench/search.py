#!/usr/bin/python3
"""Asks contactmgr and other programs for addresses as a mail client does, and writes the time and the
hits of twelve queries as a table, docs/search.md.

Usage: search.py WORK TOOL PAGE      WORK is an empty folder

Each program gets the words as a user types them. Its index or cache is ready. A time is the median of
five runs on the clock, or of those that fit five seconds, the start of the program included. Hits are distinct addresses; expected are
those whose names, organisation, address, numbers or postal address have all words, in the folded form
that Python's unicodedata gives.
"""
import argparse
import email.header
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import time
import unicodedata

import make_corpus

QUERIES = (("smith", "a name"), ("mith", "the middle of a name"), ("corp smith", "two words, turned round"),
           ("SMITH", "capitals"), ("muller", "without its accent"), ("mueller", "ü written out"),
           ("mu\u0308ller", "decomposed"), ("gross", "ß written out"), ("sorensen", "ø written as o"),
           ("lukasz", "ł written as l"), ("ИВАНОВ", "Cyrillic capitals"),
           ("corp.example.com", "a part of an address"))
SIZES = ((1000, 10000), (10000, 100000))
RUNS = 5
LONGEST_SECONDS = 5
LETTERS = str.maketrans({"ø": "o", "ł": "l", "đ": "d", "ı": "i"})


def fold(text, umlauts):
    if umlauts:
        text = unicodedata.normalize("NFC", text)
        for letter in "äöüÄÖÜ":
            text = text.replace(letter, fold(letter, False) + "e")
    text = unicodedata.normalize("NFKD", text).casefold()
    return "".join(c for c in text if unicodedata.category(c) != "Mn").translate(LETTERS)


def has_all(text, words):
    forms = [fold(text, umlauts) for umlauts in (False, True)]
    return all(any(fold(word, umlauts) in form for form in forms for umlauts in (False, True))
               for word in words.split())


class Corpus:
    """Contacts and messages in the form that each program reads, and what the oracle knows of them."""

    def __init__(self, work, contacts, messages):
        self.work, self.people = work, {"book": [], "mail": []}
        self.store = work / "store"
        self.cards = work / "cards"
        self.cards.mkdir(parents=True)
        make_corpus.vcards(argparse.Namespace(out=str(work), n=contacts, seed=1, photo_share=0))
        text = (work / "all.vcf").read_bytes().decode()
        for number, card in enumerate(re.findall(r"BEGIN:VCARD.*?END:VCARD\r\n", text, re.DOTALL)):
            self.add_card(number, card)
        self.maildir = self.store / "example.org/mail"
        for folder in ("cur", "new", "tmp"):
            (self.maildir / folder).mkdir(parents=True)
        self.add_messages(messages)

    def add_card(self, number, card):
        (self.cards / f"{number}.vcf").write_text(card.replace("VERSION", f"UID:{number}\r\nVERSION"),
                                                  encoding="utf-8", newline="")
        lines = re.sub(r"\r\n[ \t]", "", card).split("\r\n")
        named = [line.split(":", 1) for line in lines if ":" in line]
        kept = [value for name, value in named
                if name.split(";")[0] in ("FN", "N", "NICKNAME", "ORG", "TEL", "ADR")]
        for name, value in named:
            if name.startswith("EMAIL"):
                self.people["book"].append((value, "\n".join(kept + [value])))

    def add_messages(self, count):
        r = random.Random(7)
        senders = []
        for number in range(max(10, count // 8)):
            first, last = make_corpus.person(r)
            senders.append((f"{first} {last}", make_corpus.address(r, first, last, number)))
        for number in range(count):
            name, address = senders[min(int(r.paretovariate(.7)) - 1, len(senders) - 1)] \
                if r.random() < .7 else r.choice(senders)
            self.people["mail"].append((address, f"{name}\n{address}"))
            header = email.header.Header(name, "utf-8").encode() if not name.isascii() else f'"{name}"'
            moment = 1600000000 + 300 * number
            path = self.maildir / "cur" / f"{moment}.M{number}P1.host:2,S"
            path.write_text(f"Return-Path: <{address}>\nReceived: from mx.example.net by in.example.org; "
                            f"Mon, 6 Mar 2023 12:00:00 +0000\nFrom: {header} <{address}>\n"
                            f"To: owner@example.org\nSubject: {make_corpus.note(r, 5)[:60]!r}\n"
                            f"Date: Mon, 6 Mar 2023 12:00:00 +0000\nMessage-ID: <{number}@example.net>\n\n"
                            f"{make_corpus.note(r, 60)}\n", encoding="utf-8")
            os.utime(path, (moment, moment))

    def expected(self, kind, words):
        return {address.lower() for address, text in self.people[kind] if has_all(text, words)}


def run(command, environment, checked=True):
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, errors="replace", check=False)
    if checked and done.returncode != 0:
        raise RuntimeError(f"{command[0]} failed: {done.stderr[-300:]}")
    return done.stdout


class Program:
    """`kind` is what it searches: the address book, or the mail."""

    def __init__(self, name, kind, command, environment):
        self.name, self.kind, self.command, self.environment = name, kind, command, environment

    def ask(self, words):
        seconds = []
        while len(seconds) < RUNS and sum(seconds) < LONGEST_SECONDS:
            before = time.perf_counter()
            output = run(self.command(words), self.environment, checked=False)
            seconds.append(time.perf_counter() - before)
        found = {address.lower() for address in re.findall(r"[^\s<>\"]+@[^\s<>\",]+", output)}
        return 1000 * statistics.median(seconds), found


def prepare(corpus, tool):
    work = corpus.work
    environment = os.environ | {"XDG_CACHE_HOME": str(work / "cache"), "HOME": str(work),
                                "CONTACTMGR_STORE": str(corpus.store)}
    programs = []
    for kind, stores in (("book", "personal"), ("mail", "senders")):
        mailbox = f"{kind}@example.org"
        if kind == "book":
            run([tool, "mailbox", "add", mailbox], environment)
        run([tool, "mailbox", "set", mailbox, f"EnabledContactPlugins={stores}"], environment)
        base = [tool, "--mailbox", mailbox]
        if kind == "book":
            run([*base, "import", str(work / "all.vcf")], environment)
        time.sleep(3)
        run([*base, "query", "x"], environment, checked=False)
        programs.append(Program("contactmgr", kind,
                                lambda words, base=base: [*base, "query", "--format", "aerc", words],
                                environment))
    khard = work / "khard.conf"
    khard.write_text(f"[addressbooks]\n[[bench]]\npath = {corpus.cards}\n", encoding="utf-8")
    abook = work / "abook"
    run(["abook", "--convert", "--informat", "vcard", "--infile", str(work / "all.vcf"), "--outformat",
         "abook", "--outfile", str(abook)], environment)
    mu = ["--muhome", str(work / "mu")]
    run(["mu", "init", *mu, "--maildir", str(corpus.maildir)], environment)
    run(["mu", "index", "--quiet", *mu], environment)
    config = work / "notmuch.conf"
    config.write_text(f"[database]\npath={corpus.maildir}\n[user]\nname=A\nprimary_email=a@example.org\n"
                      "[new]\ntags=new\n", encoding="utf-8")
    notmuch = environment | {"NOTMUCH_CONFIG": str(config)}
    run(["notmuch", "new", "--quiet"], notmuch)
    return programs + [
        Program("khard", "book", lambda words: ["khard", "-c", str(khard), "email", "-p", *words.split()],
                environment),
        Program("abook", "book", lambda words: ["abook", "--datafile", str(abook), "--mutt-query", words],
                environment),
        Program("mu", "mail", lambda words: ["mu", "cfind", *mu, "--format=plain", words], environment),
        Program("notmuch", "mail", lambda words: ["notmuch", "address", "--output=sender", "--output=address",
                                                  *[f"from:{word}" for word in words.split()]], notmuch)]


def table(corpus, programs, kind):
    asked = [program for program in programs if program.kind == kind]
    lines = ["| query | what it is | expected | " + " | ".join(program.name for program in asked) + " |",
             "| --- | --- | ---: |" + " ---: |" * len(asked)]
    totals = [0.0] * len(asked)
    for words, meaning in QUERIES:
        expected = corpus.expected(kind, words)
        cells = []
        for place, program in enumerate(asked):
            milliseconds, found = program.ask(words)
            totals[place] += milliseconds
            wrong = f" and {len(found - expected)} others" if found - expected else ""
            cells.append(f"{len(found & expected)}{wrong}; {milliseconds:.0f} ms")
        lines.append(f"| `{words}` | {meaning} | {len(expected)} | {' | '.join(cells)} |")
    means = [f"{total / len(QUERIES):.0f} ms, {total / totals[0]:.1f} times" for total in totals]
    lines.append(f"| mean | | | {' | '.join(means)} |")
    return "\n".join(lines)


def main():
    work, tool, page = pathlib.Path(sys.argv[1]).resolve(), os.path.abspath(sys.argv[2]), pathlib.Path(sys.argv[3])
    parts = [(pathlib.Path(__file__).parent / "search.md.in").read_text(encoding="utf-8").rstrip()]
    for contacts, messages in SIZES:
        corpus = Corpus(work / str(contacts), contacts, messages)
        programs = prepare(corpus, tool)
        parts.append(f"## {contacts:,} contacts\n\n{table(corpus, programs, 'book')}")
        parts.append(f"## {messages:,} messages\n\n{table(corpus, programs, 'mail')}")
    page.write_text("\n\n".join(parts) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
