#!/usr/bin/env python3
"""The rounds of phones.sh: a phone that talks CardDAV to Radicale, and a user of contactmgr.

Each version of each card has a word of its own in its note. So what has to be there after a round
is a set of words: each card once on both sides, and both words of a card that both sides changed.
"""

import argparse
import base64
import json
import random
import re
import signal
import subprocess
import sys
import time
import urllib.error
import urllib.request
import uuid


def fail(text):
    sys.exit("FAILED   " + text)


class Server:
    """The phone's address book on a CardDAV server."""

    def __init__(self, url):
        self.root = url
        self.book = "/alice/book/"

    def request(self, method, path, body=None, headers=None):
        request = urllib.request.Request(self.root + path, body and body.encode(), headers or {}, method=method)
        request.add_header("Authorization", "Basic " + base64.b64encode(b"alice:none").decode())
        with urllib.request.urlopen(request, timeout=20) as answer:
            return answer.read().decode(), answer.headers

    def make_book(self):
        body = (
            '<?xml version="1.0"?><mkcol xmlns="DAV:" xmlns:c="urn:ietf:params:xml:ns:carddav"><set><prop>'
            "<resourcetype><collection/><c:addressbook/></resourcetype></prop></set></mkcol>"
        )
        for _ in range(100):
            try:
                self.request("MKCOL", self.book, body)
                return
            except urllib.error.HTTPError:
                raise
            except OSError:
                time.sleep(0.1)
        fail("Radicale has not started")

    def cards(self):
        """The cards by their words: (path, text, etag)."""
        listing, _ = self.request("PROPFIND", self.book, headers={"Depth": "1"})
        cards = {}
        for path in re.findall(r"<href>([^<]*\.vcf)</href>", listing):
            text, headers = self.request("GET", path)
            cards.setdefault(word_of(text), []).append((path, text, headers["ETag"]))
        return cards

    def put(self, path, text, etag=None):
        headers = {"Content-Type": "text/vcard; charset=utf-8"}
        headers.update({"If-Match": etag} if etag else {"If-None-Match": "*"})
        self.request("PUT", path, text, headers)

    def delete(self, path):
        self.request("DELETE", path)


def word_of(text):
    found = re.search(r"NOTE[^:]*:(\w+)", text)
    return found.group(1) if found else "no note in: " + text


class Trial:
    def __init__(self, options):
        self.options = options
        self.server = Server(options.server)
        self.random = random.Random(options.seed)
        self.words = set()
        self.count = 0
        self.told = {"in": 0, "out": 0, "both": 0}
        self.kills = self.runs = 0
        self.log = []  # of the round

    def new_word(self):
        self.count += 1
        return "word%dx" % self.count

    def tool(self, *arguments):
        run = subprocess.run([self.options.tool, *arguments], capture_output=True, text=True)
        if run.returncode != 0 or run.stderr:
            fail("contactmgr %s: %s" % (" ".join(arguments), run.stderr))
        return run.stdout

    def contacts(self):
        """The identifiers by the words."""
        contacts = {}
        for line in self.tool("list", "--json").splitlines():
            contact = json.loads(line)
            contacts.setdefault(contact["properties"].get("Comment"), []).append(contact["id"])
        return contacts

    def vdirsyncer(self, *arguments):
        run = subprocess.run(
            ["vdirsyncer", "-v", "WARNING", "-c", self.options.config, *arguments],
            capture_output=True,
            text=True,
        )
        if run.returncode != 0:
            fail("vdirsyncer: " + run.stdout + run.stderr)

    # What a person does. Each takes the word of a card.

    def create_here(self):
        word = self.new_word()
        self.tool("new", "FullName=Here " + word, "Surname=" + word, "Comment=" + word, "--tel", "work=+1 555")
        self.words.add(word)

    def create_there(self):
        word, uid = self.new_word(), str(uuid.UUID(int=self.random.getrandbits(128)))
        self.server.put(
            self.server.book + uid + ".vcf",
            "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:%s\r\nFN:There %s\r\nN:%s;There;;;\r\nNOTE:%s\r\n"
            "item1.TEL;TYPE=pref:+1 556\r\nitem1.X-ABLabel:Boat\r\nEND:VCARD\r\n" % (uid, word, word, word),
        )
        self.words.add(word)

    def change_here(self, contacts, word):
        fresh = self.new_word()
        self.tool("set", contacts[word][0], "Comment=" + fresh)
        return fresh

    def change_there(self, cards, word):
        fresh = self.new_word()
        path, text, etag = cards[word][0]
        self.server.put(path, re.sub(r"(NOTE[^:]*:)\w+", r"\g<1>" + fresh, text), etag)
        return fresh

    def delete_here(self, contacts, word):
        self.tool("delete", contacts[word][0])

    def delete_there(self, cards, word):
        self.server.delete(cards[word][0][0])

    def edit(self):
        """Some changes on both sides, each of them to any card."""
        contacts, cards = self.contacts(), self.server.cards()
        for _ in range(self.random.randint(1, 3)):
            self.create_here()
            self.create_there()
        known = sorted(self.words & contacts.keys() & cards.keys())
        for word in self.random.sample(known, min(len(known), 8)):
            here, there = self.random.choice(
                ["c-", "-c", "c-", "-c", "cc", "cc", "d-", "-d", "dc", "cd", "dd"]
            )
            left = []
            self.log.append("%s%s %s, next is word %d" % (here, there, word, self.count + 1))
            if here == "c":
                left.append(self.change_here(contacts, word))
            if there == "c":
                left.append(self.change_there(cards, word))
            if here == "d":
                self.delete_here(contacts, word)
            if there == "d":
                self.delete_there(cards, word)
            self.words.discard(word)
            self.words.update(left)

    def sync(self):
        """Runs that are killed, then one that ends. Between them a phone may come by."""
        command = [self.options.tool, "sync", self.options.folder]
        for _ in range(self.random.randint(2, 6)):
            run = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            time.sleep(self.random.random() * self.options.longest)
            run.send_signal(signal.SIGKILL)
            out, err = run.communicate()
            self.runs += 1
            self.kills += run.returncode == -signal.SIGKILL
            if err:
                fail("contactmgr sync: " + err)
            self.tell(out)
            self.log.append("killed" if run.returncode else "ended")
            if self.random.random() < 0.2:
                self.vdirsyncer("sync")
                self.log.append("vdirsyncer")
        begin = time.monotonic()
        self.tell(self.tool("sync", self.options.folder))
        self.options.longest = 1.2 * max(time.monotonic() - begin, 0.01)

    def tell(self, out):
        self.log += out.splitlines()
        for line in out.splitlines():
            self.told[line.split()[0]] += 1

    def check(self, what):
        contacts, cards = self.contacts(), self.server.cards()
        for side, held in (("the mailbox", contacts), ("the phone", cards)):
            doubled = sorted(str(word) for word, all in held.items() if len(all) > 1)
            lost, extra = sorted(self.words - held.keys()), sorted(map(str, held.keys() - self.words))
            if doubled or lost or extra:
                print("\n".join(self.log), file=sys.stderr)
                fail("%s, %s: lost %s, doubled %s, not wanted %s" % (what, side, lost, doubled, extra))

    def run(self):
        self.server.make_book()
        self.vdirsyncer("discover", "phone")
        for number in range(1, self.options.rounds + 1):
            self.log = []
            self.edit()
            self.vdirsyncer("sync")
            self.sync()
            self.vdirsyncer("sync")
            self.check("round %d of seed %d" % (number, self.options.seed))
        idle = self.tool("sync", self.options.folder)
        if idle:
            fail("a run with nothing to do did: " + idle)
        print(
            "ok       %d rounds through vdirsyncer and Radicale, %d cards at the end: %d changes came in, "
            "%d went out, %d conflicts kept both; %d of %d runs killed; nothing lost, nothing doubled (seed %d)"
            % (self.options.rounds, len(self.words), self.told["in"], self.told["out"], self.told["both"],
               self.kills, self.runs, self.options.seed)
        )


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("tool", "folder", "server", "config"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--rounds", type=int, default=12)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))
    options = parser.parse_args()
    options.longest = 0.05
    Trial(options).run()


if __name__ == "__main__":
    main()
