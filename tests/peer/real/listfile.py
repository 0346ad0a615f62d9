"""Reads and writes Pellora.dat: little-endian, no padding, strings with a 16-bit length."""

import dataclasses
import struct

MAGIC = 99951


@dataclasses.dataclass
class Segment:
    range_start: int
    range_end: int
    received_now: int
    received_total: int
    range_size: int
    temp_file: bytes
    state: int


@dataclasses.dataclass
class Record:
    file_name: bytes
    host: bytes
    port: int
    save_path: bytes
    paused: bool
    file_size: int
    received: int
    in_use: bool
    finished: bool
    active: bool
    url: bytes
    segments: list  # without the unused element 0

    @property
    def kept(self):
        """Bytes that a resume does not request again."""
        return sum(s.received_now + s.received_total for s in self.segments)


class _Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0

    def take(self, form):
        values = struct.unpack_from("<" + form, self.data, self.at)
        self.at += struct.calcsize("<" + form)
        return values if len(values) > 1 else values[0]

    def text(self):
        count = self.take("H")
        text = self.data[self.at:self.at + count]
        if len(text) != count:
            raise ValueError("the file ends inside a string")
        self.at += count
        return text


def _segment(r):
    start, end, now, total, size = r.take("iiiii")
    r.take("hhh")
    temp_file = r.text()
    state, _last_activity = r.take("hf")
    return Segment(start, end, now, total, size, temp_file, state)


def _record(r):
    r.take("h")
    segments = []
    if r.take("H") == 1:
        count, _bound = r.take("ii")
        segments = [_segment(r) for _ in range(count)]
    segment_count = r.take("h")
    file_name, _path, host = r.text(), r.text(), r.text()
    port = r.take("i")
    for _ in range(3):  # user, password, reserved
        r.text()
    r.take("h")
    save_path = r.text()
    r.take("hh")
    for _ in range(4):  # RestState, ConnectState, reserved, Referer
        r.text()
    _queued, _scheduled, paused, _continue, _tick = r.take("hhhhI")
    size, received, _elapsed, _remaining = r.take("iiff")
    in_use, _valid, finished, _removed, active, _percent = r.take("hhhhhf")
    url = r.text()
    r.take("hd")
    return Record(file_name, host, port, save_path, paused != 0, size, received, in_use != 0, finished != 0, active != 0,
                  url, segments[1:segment_count + 1])


def read(path):
    """All records but the blank first, including free slots. ValueError or struct.error if the file is incomplete."""
    with open(path, "rb") as f:
        r = _Reader(f.read())
    if r.take("i") != MAGIC:
        raise ValueError("not a list file")
    count = r.take("h")
    return [_record(r) for _ in range(count + 1)][1:]


def find(path, url):
    """The record of a URL; None if there is none, or no complete list yet."""
    try:
        records = read(path)
    except (OSError, ValueError, struct.error):
        return None
    for record in records:
        if record.in_use and record.url == url.encode():
            return record
    return None


def _string(text):
    return struct.pack("<H", len(text)) + text


def _complete_segment(start, size, path):
    return (struct.pack("<iiiiihhh", start, start + size - 1, size, 0, size, -1, -1, 0) + _string(path.encode()) +
            struct.pack("<hf", 3, 0))


def write_complete(path, url, port, parts):
    """Writes a list with one paused download that is received completely: `parts` are paths and sizes."""
    name = url.rpartition("/")[2].encode()
    blank = bytes(34)
    segments, start = blank, 0
    for part, size in parts:
        segments += _complete_segment(start, size, part)
        start += size
    record = struct.pack("<hHii", 0, 1, len(parts) + 1, 0) + segments + struct.pack("<h", len(parts))
    record += _string(name) + _string(b"/" + name) + _string(b"127.0.0.1") + struct.pack("<i", port)
    record += _string(b"") * 3 + struct.pack("<h", 0) + _string(b"") + struct.pack("<hh", 0, 0)
    record += _string(b"") + _string(b"0") + _string(b"") * 2
    record += struct.pack("<hhhhI", 0, 0, -1, 0, 0) + struct.pack("<iiff", start, start, 1, 0)
    record += struct.pack("<hhhhhf", -1, 0, 0, 0, 0, 100) + _string(url.encode()) + struct.pack("<hd", 0, 46000.5)
    with open(path, "wb") as f:
        f.write(struct.pack("<ih", MAGIC, 1) + bytes(92) + record)
