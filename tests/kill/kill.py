"""Kills a recording and sending app at random moments, again and again, and then asks where each record is.

    kill.py HARVELSTONE KILL_HOST [--times N] [--seed S]

The app and the collector are real processes, the files and the connection too. A record whose call had returned must be
in the content of exactly one document that the collector has got, or, for the kinds that are never uploaded, unread in its
queue. Ends with 0 if all are.
"""

import argparse
import collections
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zlib

TIME_LIMIT = 120
STAYS_ON_DEVICE = ("event_", "campaign_")
SECTIONS = {"goal_": "goal", "pages_": "pages", "click_": "click", "revenue_": "revenue", "push_": "push"}
# Uploads are answered in turn: taken, repeated, not answered, not understood.
REPLIES = [{}, {}, {"body": {"retry": True}}, {}, {"delay": 0.02}, {"close": True}, {}, {"status": 500, "body": "busy"},
           {"body": {"retry": True}}, {"body": {"retry": True}}, {}, {"body": []}, {"delay": 0.1}]

Acknowledged = collections.namedtuple("Acknowledged", "number queue document is_due life")


def unread_records(data):
    """The records of a queue file, as docs/storage.md describes it."""
    position, frames = 0, []
    while (position := data.find(b"\xfeHV\xff", position)) >= 0:
        head = data[position + 4:position + 12]
        end = position + 16 + int.from_bytes(head[1:4], "little")
        payload = data[position + 16:end]
        if (end <= len(data) and zlib.crc32(head).to_bytes(4, "little") == data[position + 12:position + 16]
                and zlib.crc32(payload).to_bytes(4, "little") == head[4:8]):
            frames.append((position, head[:1], json.loads(payload)))
            position = end
        else:
            position += 1
    consumed = [pair for _, kind, pairs in frames if kind == b"C" for pair in pairs]
    return [record for position, kind, record in frames
            if kind == b"R" and not any(begin <= position < end for begin, end in consumed)]


def number_of(record):
    if "number" in record:
        return record["number"]
    for key, value in record.items():
        if re.fullmatch(r"g\d+", key):
            return value
    return None


def numbers_of(document):
    """The numbers of a document's records, by queue."""
    numbers = {}
    for queue, section in SECTIONS.items():
        records = document.get(section, [])
        if isinstance(records, dict):
            records = [records]
        numbers[queue] = [number for number in map(number_of, records) if number is not None]
    return numbers


class Run:
    def __init__(self, command, host, seed):
        self.command, self.host, self.seed = command, host, seed
        self.random = random.Random(seed)
        self.folder = tempfile.mkdtemp(prefix="harvelstone-kill-")
        self.documents = os.path.join(self.folder, "documents")
        self.store = os.path.join(self.folder, "store")
        os.mkdir(self.documents)
        self.acknowledged = []
        self.next_number = 1
        self.problems = []

    def start_collector(self):
        replies = os.path.join(self.folder, "replies.jsonl")
        with open(replies, "w", encoding="utf-8") as file:
            for reply in REPLIES * 2000:
                file.write(json.dumps(reply) + "\n")
        self.collector = subprocess.Popen([self.command, "collect", "--store", self.store, "--replies", replies],
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.collector.stdout.readline().split()[-1]
        # Its later lines are not wanted, but must go somewhere.
        subprocess.Popen(["cat"], stdin=self.collector.stdout, stdout=subprocess.DEVNULL)

    def live_and_be_killed(self, life):
        """Until so many records, then a moment more: the kill hits whatever is under way."""
        seed = self.random.getrandbits(48)
        records, moment = self.random.randrange(0, 60), self.random.uniform(0, 0.06) * self.random.random()
        process = subprocess.Popen([self.host, self.documents, self.url, str(seed), str(self.next_number)],
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        lines = [process.stdout.readline() for _ in range(records)]
        time.sleep(moment)
        process.send_signal(signal.SIGKILL)
        lines += process.stdout.readlines()
        if process.wait(TIME_LIMIT) != -signal.SIGKILL:
            self.problems.append(f"life {life} ended by itself")
        for line in lines:
            if not line.endswith(b"\n"):
                continue
            number, queue, document, when = line.decode().split()
            self.acknowledged.append(Acknowledged(int(number), queue, document, when == "due", life))
        # The record that was on its way has the next number; it may have arrived, or not.
        self.next_number = max([self.next_number - 1] + [one.number for one in self.acknowledged]) + 2

    def drain(self):
        ended = subprocess.run([self.host, self.documents, self.url, "--drain"], stdout=subprocess.DEVNULL,
                               timeout=10 * TIME_LIMIT)
        if ended.returncode != 0:
            self.problems.append("not everything could be sent at the end")

    def account(self):
        places, counts = self.received()
        queued = self.queued()
        identities = {}  # by the document's id, as the app told it
        for one in self.acknowledged:
            found = places[one.number]
            if one.queue in STAYS_ON_DEVICE:
                if len(queued[one.number]) != 1:
                    self.problems.append(f"{one} is {len(queued[one.number])} times in its queue")
            elif len(found) > 1:
                self.problems.append(f"{one} is in several documents: {sorted(found)}")
            elif one.is_due and not found and one.queue != "push_":  # a document carries one push
                self.problems.append(f"{one} is lost")
            elif found and one.is_due and identities.setdefault(one.document, found) != found:
                self.problems.append(f"{one} is in {sorted(found)}, others of that document are not")
            # A kill between the commit of a document and the consumption of its queues leaves it in both; the queue is
            # not read again then, and goes with the document or by its age.
            if one.is_due and any(document != one.document for document in queued[one.number]):
                self.problems.append(f"{one} is in the queue of another document")
        return counts

    def received(self):
        """The documents by number of record; how many documents and uploads there were."""
        places, first = collections.defaultdict(set), {}
        uploads = 0
        with open(os.path.join(self.store, "documents.jsonl"), encoding="utf-8") as file:
            for line in file:
                document = json.loads(line)
                uploads += 1
                session = document["session"]
                identity = f"{session['sid']} of {session['create_time']:.6f}"
                numbers = numbers_of(document)
                if numbers != first.setdefault(identity, numbers):
                    self.problems.append(f"{identity} came again with other records")
                for queue, of_queue in numbers.items():
                    for number in of_queue:
                        if of_queue.count(number) > 1:
                            self.problems.append(f"record {number} is twice in {identity}")
                        places[number].add(identity)
        return places, (len(first), uploads)

    def queued(self):
        """The documents in whose queues the numbers are."""
        numbers = collections.defaultdict(list)
        folder = os.path.join(self.documents, "harvelstone")
        for name in os.listdir(folder):
            prefix = name[:name.find("_") + 1]
            if prefix not in SECTIONS and prefix not in STAYS_ON_DEVICE:
                continue
            document = name[len(prefix):].removesuffix(".Harvelstone")
            with open(os.path.join(folder, name), "rb") as file:
                for record in unread_records(file.read()):
                    number = record.get("value") if name.startswith(STAYS_ON_DEVICE) else number_of(record)
                    if number is not None:
                        numbers[number].append(document)
        return numbers

    def finish(self):
        self.collector.send_signal(signal.SIGTERM)
        self.collector.wait(TIME_LIMIT)
        if self.problems:
            print(f"the files are kept in {self.folder}")
        else:
            shutil.rmtree(self.folder)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("command")
    parser.add_argument("host")
    parser.add_argument("--times", type=int, default=50)
    parser.add_argument("--seed", type=int, default=None)
    options = parser.parse_args()
    seed = options.seed if options.seed is not None else random.SystemRandom().getrandbits(32)
    begin = time.monotonic()
    run = Run(options.command, options.host, seed)
    run.start_collector()
    try:
        for life in range(options.times):
            run.live_and_be_killed(life)
        run.drain()
        documents, uploads = run.account()
    finally:
        run.finish()
    for problem in run.problems:
        print(problem)
    print(f"{options.times} kills (seed {seed}), {len(run.acknowledged)} acknowledged records, {documents} documents in "
          f"{uploads} uploads; {len(run.problems)} problems; {time.monotonic() - begin:.1f} s")
    return 1 if run.problems else 0


if __name__ == "__main__":
    sys.exit(main())
