#!/usr/bin/env python3
"""Second peer of bench_formats_mime: Python's email package on the same inputs.

Run the benchmark once with RAVELIN_BENCH_DUMP=DIR to write the inputs, then
    python3 bench/formats/mime_peer.py DIR
It prints the same three figures: the 20 MiB letter parsed with every part decoded
(MiB/s of input), small letters with headers decoded and text converted (letters/s),
and the 20 MiB letter built (MiB/s of output).
"""
import glob
import os
import sys
import time
from email import policy
from email.message import EmailMessage
from email.parser import BytesParser


def timed(fn, min_seconds=2.0):
    runs, start = 0, time.perf_counter()
    while True:
        fn()
        runs += 1
        elapsed = time.perf_counter() - start
        if elapsed >= min_seconds and runs >= 2:
            return elapsed / runs


def parse_all(data):
    msg = BytesParser(policy=policy.default).parsebytes(data)
    total = 0
    for part in msg.walk():
        if part.is_multipart():
            continue
        payload = part.get_payload(decode=True)
        total += len(payload or b'')
    return msg, total


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else '.'
    large = open(os.path.join(folder, 'large.eml'), 'rb').read()
    small = [open(p, 'rb').read() for p in sorted(glob.glob(os.path.join(folder, 'small*.eml')))]

    t = timed(lambda: parse_all(large))
    print('python parse 20 MiB letter: %.1f MiB/s' % (len(large) / t / 2**20))

    def small_round():
        for data in small:
            msg = BytesParser(policy=policy.default).parsebytes(data)
            str(msg['subject']), str(msg['from']), str(msg['to']), msg['date'].datetime
            for part in msg.walk():
                if part.get_content_maintype() == 'text':
                    part.get_content()
    t = timed(small_round)
    print('python small letters: %.0f letters/s' % (len(small) / t))

    msg, _ = parse_all(large)
    files = [(p.get_filename(), p.get_payload(decode=True)) for p in msg.walk()
             if not p.is_multipart() and p.get_content_maintype() != 'text']
    text = next(p for p in msg.walk() if p.get_content_type() == 'text/plain').get_content()
    out = EmailMessage()
    out.set_content(text)
    for name, data in files:
        out.add_attachment(data, maintype='application', subtype='octet-stream', filename=name)
    size = len(out.as_bytes())
    t = timed(lambda: out.as_bytes())
    print('python build 20 MiB letter: %.1f MiB/s of output (%.1f MiB)' % (size / t / 2**20, size / 2**20))


if __name__ == '__main__':
    main()
