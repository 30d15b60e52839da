#!/usr/bin/python3
"""Runs contactmgr and other programs on the same contacts and messages, and prints the time on the
processor and the memory of each command, one JSON object a line.

Usage: commands.py CORPUS WORK TOOL [--peers]     WORK is an empty folder
"""
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

CARD_END = "END:VCARD\r\n"
DEVNULL = subprocess.DEVNULL
COMMANDS = (["list"], ["query", "smith"], ["export"], ["poll"], ["changes", "--since", "0"])


def start(command, environment):
    return subprocess.Popen(command, stdin=DEVNULL, stdout=DEVNULL, stderr=subprocess.PIPE,
                            env=environment)


def seconds_of(command, environment=None):
    """On the processor."""
    child = start(command, environment)
    errors = child.stderr.read()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise RuntimeError(f"{command[0]} failed: {errors.decode(errors='replace')[-300:]}")
    return usage.ru_utime + usage.ru_stime


def peak_of(command, environment=None):
    """Largest memory, in bytes. The system's own account of a child begins with its parent's."""
    child = start(command, environment)
    peak = 0
    while child.poll() is None:
        with open(f"/proc/{child.pid}/status", encoding="ascii") as status:
            for line in status:
                if line.startswith("VmHWM"):
                    peak = max(peak, 1024 * int(line.split()[1]))
        time.sleep(0.002)
    child.communicate()
    return peak


def measure(peer, operation, items, command, runs=5, environment=None):
    seconds = statistics.median(seconds_of(command, environment) for _ in range(runs))
    result = {"peer": peer, "operation": operation, "items": items,
              "us": round(1e6 * seconds / items, 3)}
    if runs > 1:
        result["peak_bytes"] = peak_of(command, environment)
    print(json.dumps(result), flush=True)


def read_cards(corpus, count):
    """The first ones; from the beginning again where there are not enough."""
    with open(corpus / "plain/all.vcf", encoding="utf-8", newline="") as file:
        cards = file.read().split(CARD_END)[:-1]
    return [cards[number % len(cards)] + CARD_END for number in range(count)]


def contactmgr(work, corpus, tool, mail):
    store = work / "store"
    store.mkdir()
    mailbox = "mail@example.org"

    def command(*arguments):
        return [tool, "--store", str(store), "--mailbox", mailbox, *arguments]

    subprocess.run(command("mailbox", "add", mailbox), check=True)
    subprocess.run(command("mailbox", "set", mailbox, "EnabledContactPlugins=senders"), check=True)
    shutil.copytree(mail, store / "example.org/mail", dirs_exist_ok=True)
    measure("contactmgr", "senders", count_messages(mail), command("list"))
    for count in (1000, 10000, 100000):
        mailbox = f"book{count}@example.org"
        subprocess.run(command("mailbox", "add", mailbox), check=True)
        part = work / "part.vcf"
        with open(part, "w", encoding="utf-8", newline="") as file:
            file.writelines(read_cards(corpus, count))
        measure("contactmgr", "import", count, command("import", str(part)), runs=1)
        for operation in COMMANDS:
            measure("contactmgr", operation[0], count, command(*operation),
                    runs=5 if count < 100000 else 2)


def count_messages(mail):
    return sum(1 for _ in (mail / "cur").iterdir()) + sum(1 for _ in (mail / "new").iterdir())


def khard(work, corpus):
    book = work / "khard"
    book.mkdir()
    for number, card in enumerate(read_cards(corpus, 1000)):
        with open(book / f"{number}.vcf", "w", encoding="utf-8", newline="") as file:
            file.write(card.replace("VERSION", f"UID:{number}\r\nVERSION"))
    config = work / "khard.conf"
    config.write_text(f"[addressbooks]\n[[bench]]\npath = {book}\n")
    measure("khard", "list", 1000, ["khard", "-c", str(config), "list"], runs=2)


def abook(work, corpus):
    book = work / "abook"
    seconds_of(["abook", "--convert", "--informat", "vcard", "--infile",
              str(corpus / "plain/all.vcf"), "--outformat", "abook", "--outfile", str(book)])
    measure("abook", "query", 10000, ["abook", "--datafile", str(book), "--mutt-query", "smith"])


def mu(work):
    home = ["--muhome", str(work / "mu")]
    maildir = work / "maildir/INBOX"
    items = count_messages(maildir)
    seconds_of(["mu", "init", *home, "--maildir", str(maildir)])
    measure("mu", "first index", items, ["mu", "index", "--quiet", *home], runs=1)
    measure("mu", "senders", items, ["mu", "cfind", *home])


def notmuch(work, mail):
    config = work / "notmuch.conf"
    config.write_text(f"[database]\npath={work / 'maildir'}\n[user]\nname=Alice\n"
                      "primary_email=alice@example.org\n[new]\ntags=new\n")
    environment = os.environ | {"NOTMUCH_CONFIG": str(config)}
    items = count_messages(mail)
    measure("notmuch", "first index", items, ["notmuch", "new", "--quiet"], 1, environment)
    measure("notmuch", "senders", items, ["notmuch", "address", "--output=sender", "*"],
            environment=environment)


def main():
    corpus, work, tool = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    mail = corpus / "mail/INBOX"
    tasks = [("contactmgr", lambda: contactmgr(work, corpus, tool, mail))]
    if "--peers" in sys.argv:
        shutil.copytree(mail, work / "maildir/INBOX")
        tasks += [("khard", lambda: khard(work, corpus)),
                  ("abook", lambda: abook(work, corpus)),
                  ("mu", lambda: mu(work)), ("notmuch", lambda: notmuch(work, mail))]
    failed = False
    for name, task in tasks:
        try:
            task()
        except (OSError, RuntimeError) as error:
            failed |= name == "contactmgr"
            print(json.dumps({"peer": name, "left_out": str(error)}), flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
