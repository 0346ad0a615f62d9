"""A short sample of each type that the preview accepts, made at test time."""

import os
import struct
import subprocess

VIDEO = ["-f", "lavfi", "-i", "testsrc=size=320x240:rate=25:duration=1"]
SOUND = ["-f", "lavfi", "-i", "sine=frequency=440:duration=1"]
BOTH = VIDEO + SOUND
LONGER = [word.replace("duration=1", "duration=2") for word in BOTH]
PICTURE = ["-f", "lavfi", "-i", "testsrc=size=320x240:duration=1", "-frames:v", "1"]

ENCODED = {
    "avi": BOTH + ["-c:v", "mpeg4", "-c:a", "libmp3lame"],
    # The demultiplexer skips the first half second and the rest of its group of pictures.
    "mpg": LONGER + ["-c:v", "mpeg1video", "-g", "5", "-bf", "0", "-c:a", "mp2", "-muxpreload", "0"],
    "wmv": BOTH + ["-c:v", "wmv2", "-c:a", "wmav2"],
    "mp3": SOUND + ["-c:a", "libmp3lame"],
    "wav": SOUND,
    "ogg": SOUND + ["-c:a", "libvorbis"],
    "wma": SOUND + ["-c:a", "wmav2", "-f", "asf"],
    "mp2": SOUND + ["-c:a", "mp2"],
    "jpg": PICTURE,
    "bmp": PICTURE,
    "png": PICTURE,
    "tga": PICTURE,
}
# Other formats that a file without an extension may have.
FURTHER = {
    "mp4": BOTH + ["-c:v", "libx264", "-c:a", "aac"],
    "mov": BOTH + ["-c:v", "mjpeg", "-c:a", "pcm_s16le"],
    "flv": BOTH + ["-c:v", "flv", "-c:a", "libmp3lame", "-ar", "44100"],
    "webm": BOTH + ["-c:v", "libvpx", "-c:a", "libvorbis"],
    "au": SOUND,
    "aiff": SOUND,
    "flac": SOUND,
}
PICTURES = ("jpg", "bmp", "png", "tga")
VIDEOS = ("avi", "mpg", "wmv")
EVERY = tuple(ENCODED) + ("mp1", "mid", "rmi")
SOUNDS = tuple(kind for kind in EVERY if kind not in PICTURES + VIDEOS)


def encode(path, arguments):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *arguments, path], stdin=subprocess.DEVNULL, check=True, timeout=60)


def midi():
    """One track: a second of a scale."""
    track = b"\x00\xff\x51\x03\x07\xa1\x20"  # a quarter note lasts half a second
    for note in (60, 64, 67, 72):
        track += bytes((0, 0x90, note, 100, 48, 0x80, note, 0))
    track += b"\x00\xff\x2f\x00"
    return b"MThd" + struct.pack(">IHHH", 6, 0, 1, 96) + b"MTrk" + struct.pack(">I", len(track)) + track


def rmi():
    data = midi()
    return b"RIFF" + struct.pack("<I", 12 + len(data)) + b"RMIDdata" + struct.pack("<I", len(data)) + data


def mp1():
    """MPEG-1 layer I, 384 kbit/s at 44.1 kHz: silent frames, in which no band gets any bits."""
    frame = b"\xff\xff\xc0\xc0" + bytes(32 * 2 // 2)
    size = 12 * 384000 // 44100 * 4
    return (frame + bytes(size - len(frame))) * 115


def make(folder):
    """Writes "sample.EXT" for each of EVERY, and those of FURTHER. Returns their paths by kind."""
    paths = {kind: os.path.join(folder, "sample." + kind) for kind in EVERY}
    for kind, arguments in ENCODED.items():
        encode(paths[kind], arguments)
    for kind, arguments in FURTHER.items():
        paths[kind] = os.path.join(folder, kind + " without extension")
        encode(paths[kind], [*arguments, "-f", kind])
    for kind, data in (("mid", midi()), ("rmi", rmi()), ("mp1", mp1())):
        with open(paths[kind], "wb") as f:
            f.write(data)
    return paths
