#!/usr/bin/python3
"""Cards with python3-vobject. Usage: vobject_peer.py CORPUS"""
import json
import statistics
import sys
import time

import vobject

CARDS = 200
RUNS = 3


def measure(operation, work):
    times = []
    for _ in range(RUNS):
        begin = time.thread_time()
        work()
        times.append(time.thread_time() - begin)
    print(json.dumps({"peer": "python3-vobject", "operation": operation,
                      "us": round(1e6 * statistics.median(times) / CARDS, 3)}))


for folder, suffix in (("plain", ""), ("photos", ", photos")):
    with open(f"{sys.argv[1]}/{folder}/all.vcf", encoding="utf-8", newline="") as file:
        cards = [card + "END:VCARD\r\n" for card in file.read().split("END:VCARD\r\n")[:CARDS]]
    read = [vobject.readOne(card) for card in cards]
    measure("read" + suffix, lambda: [vobject.readOne(card) for card in cards])
    measure("text" + suffix, lambda: [card.serialize(validate=False) for card in read])
