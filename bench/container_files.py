"""Large files for bench/program: the parameter sets of one stream, and slices of 50 kB behind them, in MP4, Matroska and
MPEG-TS. Their time must follow the NAL units (MP4, Matroska), or the packets (MPEG-TS)."""

import random
import struct
import subprocess

SAMPLE_BYTES = 50000
PID, PMT_PID = 0x100, 0x1000


def slice_unit(size):
    """A trailing picture's first slice segment with PPS 0, without start codes inside."""
    noise = random.Random(1)
    return bytes([0x02, 0x01, 0xd0]) + bytes(noise.randrange(1, 256) for _ in range(size - 3))


def box(kind, *content):
    body = b"".join(content)
    return struct.pack(">I", 8 + len(body)) + kind + body


def full(kind, *content):
    return box(kind, bytes(4), *content)


def write_mp4(path, size, hvcc):
    sample = struct.pack(">I", SAMPLE_BYTES) + slice_unit(SAMPLE_BYTES)
    count = size // len(sample)
    matrix = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
    ftyp = box(b"ftyp", b"isom", bytes(4), b"isomhvc1")
    entry = box(b"hvc1", bytes(6), struct.pack(">H", 1), bytes(16), struct.pack(">HHII", 352, 288, 0x480000, 0x480000),
                bytes(4), struct.pack(">H", 1), bytes(32), struct.pack(">Hh", 24, -1), box(b"hvcC", hvcc))
    table = box(b"stbl", full(b"stsd", struct.pack(">I", 1), entry),
                full(b"stts", struct.pack(">III", 1, count, 1)), full(b"stsc", struct.pack(">IIII", 1, 1, count, 1)),
                full(b"stsz", struct.pack(">II", len(sample), count)),
                full(b"co64", struct.pack(">IQ", 1, len(ftyp) + 16)))
    media = box(b"mdia", full(b"mdhd", bytes(8), struct.pack(">II", 25, count), bytes(4)),
                full(b"hdlr", bytes(4), b"vide", bytes(13)), box(b"minf", full(b"vmhd", bytes(8)), table))
    track = box(b"trak", full(b"tkhd", bytes(8), struct.pack(">II", 1, 0), bytes(4), bytes(16), matrix,
                              struct.pack(">II", 352 << 16, 288 << 16)), media)
    movie = box(b"moov", full(b"mvhd", bytes(8), struct.pack(">II", 25, count), bytes(80)), track)
    with open(path, "wb") as file:
        file.write(ftyp + struct.pack(">I", 1) + b"mdat" + struct.pack(">Q", 16 + count * len(sample)))
        for _ in range(count):
            file.write(sample)
        file.write(movie)


def element(number, *content):
    body = b"".join(content)
    return number + struct.pack(">Q", 1 << 56 | len(body)) + body


def write_mkv(path, size, hvcc):
    sample = struct.pack(">I", SAMPLE_BYTES) + slice_unit(SAMPLE_BYTES)
    track = element(b"\xae", element(b"\xd7", b"\1"), element(b"\x83", b"\1"), element(b"\x86", b"V_MPEGH/ISO/HEVC"),
                    element(b"\x63\xa2", hvcc), element(b"\xe0", element(b"\xb0", b"\1\x60"), element(b"\xba", b"\1\x20")))
    cluster = element(b"\x1f\x43\xb6\x75", element(b"\xe7", b"\0"),
                      *[element(b"\xa3", b"\x81\0\0\x80", sample) for _ in range(25)])
    with open(path, "wb") as file:
        file.write(element(b"\x1a\x45\xdf\xa3", element(b"\x42\x82", b"matroska")))
        file.write(b"\x18\x53\x80\x67\x01" + b"\xff" * 7 + element(b"\x16\x54\xae\x6b", track)) # of unknown size
        for _ in range(size // len(cluster)):
            file.write(cluster)


def crc32_of_section(section):
    crc = 0xffffffff
    for byte in section:
        for bit in range(7, -1, -1):
            crc = (crc << 1 & 0xffffffff) ^ (0x04c11db7 if (crc >> 31 ^ byte >> bit) & 1 else 0)
    return section + struct.pack(">I", crc)


def packet(pid, counter, payload, start):
    """One packet; an adaptation field fills it."""
    stuffing = 184 - len(payload)
    field = b"" if stuffing == 0 else bytes([stuffing - 1]) + (b"\0" + b"\xff" * (stuffing - 2))[:stuffing - 1]
    head = struct.pack(">BHB", 0x47, start << 14 | pid, (0x30 if stuffing else 0x10) | counter & 15)
    return head + field + payload


def packets(pid, counter, payload):
    return b"".join(packet(pid, counter + i, payload[184 * i:184 * i + 184], i == 0)
                    for i in range(-(-len(payload) // 184)))


def write_ts(path, size, sets):
    pat = crc32_of_section(struct.pack(">BHHBBBHH", 0, 0xb00d, 1, 0xc1, 0, 0, 1, 0xe000 | PMT_PID))
    pmt = crc32_of_section(struct.pack(">BHHBBBHHBHH", 2, 0xb012, 1, 0xc1, 0, 0, 0xe000 | PID, 0xf000, 0x24,
                                       0xe000 | PID, 0xf000))
    pes = b"\0\0\1\xe0\0\0\x80\0\0"
    picture = pes + b"\0\0\0\1" + slice_unit(272 * 184 - len(pes) - 4) # continuity counters begin anew behind it
    block = packets(PID, 0, picture)
    with open(path, "wb") as file:
        file.write(packet(0, 0, b"\0" + pat, True) + packet(PMT_PID, 0, b"\0" + pmt, True))
        head = pes + sets
        file.write(packets(PID, -(-(-len(head) // 184)), head))
        for _ in range(size // len(block)):
            file.write(block)


def write(kind, path, size, program, stream):
    """A file of a kind ("mp4", "mkv" or "ts") with the sets of a byte stream."""
    form = "annexb" if kind == "ts" else "hvcc"
    sets = subprocess.run([program, "export", stream, "--as", form], stdout=subprocess.PIPE, check=True).stdout
    {"mp4": write_mp4, "mkv": write_mkv, "ts": write_ts}[kind](path, size, sets)
