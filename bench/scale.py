"""What ten million mailboxes cost, from the figures of a store of one server's share."""
import math
import pathlib

# Assumptions, for one mailbox.
MAILBOXES = 10_000_000
SERVERS = 100
POLL_SECONDS = 300
REPORTS, WALKS, SAVES = 10, 2, 2  # a day
PEAK = 4
ROUND_TRIP_MS = 0.2  # of a network within a computing centre
CEPH_REQUESTS = 6000  # a second, of one metadata server
CEPH_INODE_BYTES = 2048
CEPH_CACHE_BYTES = 64 << 30
DAY = 86400

POLL, KEPT = "open a mailbox and poll", "poll a mailbox that is open"
REPORT = "open a mailbox and report changes"
WALK, SAVE = "open a mailbox and walk", "open a mailbox, change and save"
RATES = {POLL: PEAK / POLL_SECONDS, REPORT: PEAK * REPORTS / DAY, WALK: PEAK * WALKS / DAY,
         SAVE: PEAK * SAVES / DAY}


def slab_bytes(name, otherwise):
    """Memory of one object of the kernel, as root sees it."""
    try:
        with open("/proc/slabinfo", encoding="ascii") as file:
            for line in file:
                if line.startswith(name + " "):
                    return int(line.split()[3])
    except OSError:
        pass
    return otherwise


def size(value):
    for unit in ("bytes", "KB", "MB", "GB", "TB"):
        if value < 1000 or unit == "TB":
            return f"{value:.0f} {unit}" if value >= 10 or unit == "bytes" else f"{value:.1f} {unit}"
        value /= 1000
    return ""


def count(value):
    if value >= 10_000_000:
        return f"{value / 1e6:,.0f} million"
    if value >= 100:
        return f"{round(value, -1):,.0f}" if value < 10_000 else f"{round(value, -3):,.0f}"
    return f"{value:.0f}" if value >= 10 else f"{value:.2g}"


def both(name, value, form=count):
    """One server's figure, and that of all."""
    return {name: form(value), name + "_all": form(value * SERVERS)}


def operation_table(operations):
    lines = ["| one thread | us on the processor | median, us | 99th of 100, us | system calls |",
             "| --- | --: | --: | --: | --: |"]
    for row in operations.values():
        lines.append(f"| {row['name']} (M) | {row['us']:.1f} | {row['median_us']:.1f} | "
                     f"{row['p99_us']:.0f} | {row['calls']:.1f} |")
    return "\n".join(lines)


def shared_table(operations):
    return "\n".join(
        f"| {row['name']} | {row['calls']:.0f} | {row['calls'] * ROUND_TRIP_MS:.1f} ms | "
        f"{CEPH_REQUESTS / row['calls']:,.0f} a second |" for row in operations.values())


def load(operations, mailboxes, poll):
    """Cores and system calls a second, where polls are made in that way."""
    def total(figure):
        return mailboxes * sum(rate * operations[poll if name == POLL else name][figure]
                               for name, rate in RATES.items())
    return total("us") / 1e6, total("calls")


def server_figures(measured, operations):
    mailboxes = MAILBOXES / SERVERS
    cores, calls = load(operations, mailboxes, POLL)
    inode_bytes, name_bytes = slab_bytes("ext4_inode_cache", 1100), slab_bytes("dentry", 192)
    # The folder of an address book, that of its redo files, the lock and the counter.
    folders = measured["mailbox_inodes"] + measured["book_inodes"] - measured["contacts_of_a_book"]
    inodes = measured["mailbox_inodes"] + measured["book_inodes"]
    figures = {"inode_bytes": inode_bytes, "name_bytes": name_bytes}
    figures |= both("polls", mailboxes * RATES[POLL])
    figures |= both("reports_second", mailboxes * RATES[REPORT])
    figures |= both("saves_second", mailboxes * RATES[SAVE])
    figures |= both("calls_second", calls)
    figures |= both("cores", cores)
    figures |= both("mailbox_inodes", mailboxes * measured["mailbox_inodes"])
    figures |= both("book_inodes", mailboxes * measured["book_inodes"])
    figures |= both("disk", mailboxes * (measured["mailbox_bytes"] + measured["book_bytes"]), size)
    figures |= both("cache", mailboxes * inodes * (inode_bytes + name_bytes), size)
    figures |= both("cache_folders", mailboxes * folders * (inode_bytes + name_bytes), size)
    figures["ceph_servers"] = math.ceil(SERVERS * calls / CEPH_REQUESTS)
    kept_calls = load(operations, mailboxes, KEPT)[1]
    figures["ceph_servers_kept"] = math.ceil(SERVERS * kept_calls / CEPH_REQUESTS)
    figures["ceph_inodes"] = count(CEPH_CACHE_BYTES / CEPH_INODE_BYTES)
    figures["ceph_mailboxes"] = count(CEPH_CACHE_BYTES / CEPH_INODE_BYTES / folders)
    return figures


def page(results):
    measured = results.scale
    operations = {row["name"]: row for row in measured["operations"]}
    kept = operations[KEPT]["kept_bytes"]
    figures = server_figures(measured, operations) | {
        "mailboxes": f"{measured['mailboxes']:,}",
        "every": measured["mailboxes"] // measured["books"],
        "contacts": measured["contacts_of_a_book"],
        "operations": operation_table(operations),
        "shared": shared_table(operations),
        "kept_bytes": f"{kept:,}",
        "kept_all": size(kept * measured["mailboxes"]),
        "polls_a_core": count(1e6 / operations[POLL]["us"]),
        "kept_polls_a_core": count(1e6 / operations[KEPT]["us"]),
        "reports_a_core": count(1e6 / operations[REPORT]["us"]),
        "saves_a_core": count(1e6 / operations[SAVE]["us"]),
        "poll_seconds": POLL_SECONDS, "reports": REPORTS, "walks": WALKS, "saves": SAVES,
        "peak": PEAK, "round_trip": ROUND_TRIP_MS,
        "mailboxes_a_server": f"{MAILBOXES // SERVERS:,}", "mailboxes_all": f"{MAILBOXES:,}",
        "inodes_a_mailbox": f"{measured['mailbox_inodes']:.0f}",
        "bytes_a_mailbox": size(measured["mailbox_bytes"]),
        "inodes_a_book": f"{measured['book_inodes']:.0f}",
        "bytes_a_book": size(measured["book_bytes"]),
    }
    template = pathlib.Path(__file__).with_name("scale.md.in").read_text(encoding="utf-8")
    return template.format_map(figures)
