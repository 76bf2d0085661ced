#!/usr/bin/python3
"""Times `ravelin list` as a user runs it, process start to exit, on a large and a small store.

    scripts/list_timing.py BUILD/apps/ravelin/ravelin [--big 100000] [--small 100] [--runs 25] [--work DIR]

The small store is filled by `ravelin import` of a generated mbox (short letters, one in
seven with a small attachment); the large one starts as a copy of it whose letters are
then copied within the file by SQL until it holds --big of them (importing 100,000 letters
one by one takes far longer than the comparison itself). Both live in a work folder under
/tmp unless --work names one; stores already filled there are reused. The two commands then run alternately, --runs
times each, and the median wall time and CPU time (user + system of the child) are
printed with their ratio. --runs 0 only fills the stores.
"""
import argparse
import os
import shutil
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time


def letter(i):
    day = 1 + i % 28
    hour = i % 24
    lines = [
        "From sender%d@example.org Mon Jan  1 00:00:00 2024" % (i % 97),
        "From: Sender %d <sender%d@example.org>" % (i % 97, i % 97),
        "To: reader@example.org",
        "Subject: Letter number %d about item %d" % (i, i * 7 % 1000),
        "Date: %02d Mar 2024 %02d:%02d:00 +0000" % (day, hour, i % 60),
        "Message-ID: <%d@example.org>" % i,
        "MIME-Version: 1.0",
    ]
    text = "Hello,\n\nthis is letter %d. It says a few words and ends.\n\nRegards\n" % i
    if i % 7 == 0:
        lines.append('Content-Type: multipart/mixed; boundary="b%d"' % i)
        lines += ["", "--b%d" % i, "Content-Type: text/plain; charset=us-ascii", "", text,
                  "--b%d" % i, 'Content-Type: application/octet-stream; name="a%d.bin"' % i,
                  "Content-Transfer-Encoding: base64", "", "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVo=",
                  "--b%d--" % i, ""]
    else:
        lines.append("Content-Type: text/plain; charset=us-ascii")
        lines += ["", text]
    return "\n".join(lines) + "\n"


def fill(ravelin, home, count):
    """A store of `count` letters in Inbox under `home` (kept when already filled)."""
    mark = os.path.join(home, ".filled-%d" % count)
    if os.path.exists(mark):
        return
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home)
    box = os.path.join(home, "letters.mbox")
    with open(box, "w", encoding="ascii") as f:
        for i in range(count):
            f.write(letter(i))
    env = dict(os.environ, RAVELIN_HOME=home)
    start = time.monotonic()
    subprocess.run([ravelin, "import", "--folder", "Inbox", box], env=env, check=True,
                   stdout=subprocess.DEVNULL)
    os.remove(box)
    print("filled %d letters in %.1f s" % (count, time.monotonic() - start), file=sys.stderr)
    open(mark, "w").close()


def grow(small, home, count):
    """A copy of the store in `small` whose Letters rows are copied until there are `count`."""
    mark = os.path.join(home, ".filled-%d" % count)
    if os.path.exists(mark):
        return
    shutil.rmtree(home, ignore_errors=True)
    shutil.copytree(small, home)
    for f in os.listdir(home):
        if f.startswith(".filled"):
            os.remove(os.path.join(home, f))
    db = sqlite3.connect(os.path.join(home, "EmailW.mdb"))
    # The store's indexes compare text in its own collation; for these letters (ASCII, one
    # folder) case-folded order is the same order.
    db.create_collation("RVTEXT", lambda a, b: (a.casefold() > b.casefold()) - (a.casefold() < b.casefold()))
    cols = [r[1] for r in db.execute("PRAGMA table_info(Letters)") if r[1].lower() != "key"]
    names = ", ".join('"%s"' % c for c in cols)
    while True:
        have = db.execute("SELECT count(*) FROM Letters").fetchone()[0]
        if have >= count:
            break
        db.execute("INSERT INTO Letters (%s) SELECT %s FROM Letters ORDER BY key LIMIT ?" % (names, names),
                   (count - have,))
        db.commit()
    db.close()
    open(mark, "w").close()


def run_once(ravelin, home):
    env = dict(os.environ, RAVELIN_HOME=home)
    start = time.monotonic()
    child = subprocess.Popen([ravelin, "list"], env=env, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    wall = time.monotonic() - start
    if status != 0:
        sys.exit("ravelin list failed in %s (status %d)" % (home, status))
    return wall, usage.ru_utime + usage.ru_stime


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("ravelin")
    ap.add_argument("--big", type=int, default=100000)
    ap.add_argument("--small", type=int, default=100)
    ap.add_argument("--runs", type=int, default=25)
    ap.add_argument("--work", default=os.path.join(tempfile.gettempdir(), "ravelin-list-timing"))
    a = ap.parse_args()
    ravelin = os.path.abspath(a.ravelin)
    big = os.path.join(a.work, "big")
    small = os.path.join(a.work, "small")
    fill(ravelin, small, a.small)
    grow(small, big, a.big)
    if a.runs < 1:
        return
    run_once(ravelin, big)  # the file into the page cache
    run_once(ravelin, small)
    times = {big: [], small: []}
    for _ in range(a.runs):
        for home in (big, small):
            times[home].append(run_once(ravelin, home))
    med = {h: (statistics.median(w for w, _ in t), statistics.median(c for _, c in t)) for h, t in times.items()}
    print("| store | wall (median of %d) | CPU (median) |" % a.runs)
    print("|---|---|---|")
    print("| %d letters | %.1f ms | %.1f ms |" % (a.big, med[big][0] * 1e3, med[big][1] * 1e3))
    print("| %d letters | %.1f ms | %.1f ms |" % (a.small, med[small][0] * 1e3, med[small][1] * 1e3))
    print("| ratio | %.2f× | %.2f× |" % (med[big][0] / med[small][0], med[big][1] / max(med[small][1], 1e-6)))


if __name__ == "__main__":
    main()
