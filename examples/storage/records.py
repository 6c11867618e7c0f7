"""Prints the records of a queue file that have not been taken. usage: records.py FILE"""
import json, re, sys, zlib

def frames(data):
    position = 0
    while (position := data.find(b"\xfeHV\xff", position)) >= 0:
        head = data[position + 4:position + 12]
        end = position + 16 + int.from_bytes(head[1:4], "little")
        payload = data[position + 16:end]
        if (end <= len(data) and zlib.crc32(head).to_bytes(4, "little") == data[position + 12:position + 16]
                and zlib.crc32(payload).to_bytes(4, "little") == head[4:8]):
            yield position, head[:1], json.loads(payload)
            position = end
        else:
            position += 1

data = open(sys.argv[1], "rb").read()
found = list(frames(data))
consumed = [r for _, kind, ranges in found if kind == b"C" for r in ranges]
for position, kind, record in found:
    if kind == b"R" and not any(begin <= position < end for begin, end in consumed):
        print(json.dumps(record))
