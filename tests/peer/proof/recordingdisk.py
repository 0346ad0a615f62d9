"""A file in user space that a loop device can lie on, with a record of every write and flush that reached it.

    /usr/bin/python3 recordingdisk.py IMAGE FOLDER RECORD

mounts on FOLDER a file system with one file, `disk`, whose bytes are those of IMAGE, and appends to RECORD. It runs until it
is unmounted. One entry of RECORD: seconds since 1970 as a double, offset and length as 64-bit integers, all
little-endian, then as many bytes. A flush has the length 0."""

import os
import stat
import struct
import sys
import time

HEAD = struct.Struct("<dQQ")


def entries(record):
    """(end in the record, time, offset, bytes) of each entry."""
    with open(record, "rb") as f:
        while len(head := f.read(HEAD.size)) == HEAD.size:
            seconds, offset, length = HEAD.unpack(head)
            data = f.read(length)
            yield f.tell(), seconds, offset, data


def serve(image, folder, record):
    import fusepy  # not above, since only the system's python has it

    class RecordingDisk(fusepy.Operations):
        def __init__(self):
            self.image = os.open(image, os.O_RDWR)
            self.record = open(record, "ab", buffering=0)

        def note(self, offset, data):
            self.record.write(HEAD.pack(time.time(), offset, len(data)) + data)

        def getattr(self, path, handle=None):
            if path == "/":
                return {"st_mode": stat.S_IFDIR | 0o700, "st_nlink": 2}
            return {"st_mode": stat.S_IFREG | 0o600, "st_nlink": 1, "st_size": os.fstat(self.image).st_size}

        def readdir(self, path, handle):
            return [".", "..", "disk"]

        def read(self, path, size, offset, handle):
            return os.pread(self.image, size, offset)

        def write(self, path, data, offset, handle):
            self.note(offset, data)
            return os.pwrite(self.image, data, offset)

        def fsync(self, path, datasync, handle):
            self.note(0, b"")

    # One thread, so that the order of the entries is that in which they came.
    fusepy.FUSE(RecordingDisk(), folder, foreground=True, nothreads=True, big_writes=True)


if __name__ == "__main__":
    serve(*sys.argv[1:])
