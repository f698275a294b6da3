"""Containers that cost the most for their bytes, by name: the files of fuzz/worst-case --containers."""
import zlib


def be(size, value):
    return value.to_bytes(size, "big")


def box(kind, *content):
    content = b"".join(content)
    return be(4, 8 + len(content)) + kind + content


def full(kind, version, flags, *content):
    return box(kind, be(1, version) + be(3, flags), *content)


FTYP = box(b"ftyp", b"isom", bytes(4), b"isomhvc1")
HDLR_VIDEO = full(b"hdlr", 0, 0, bytes(4), b"vide", bytes(13))


def hvcc(sets):
    """The configuration record of sets, a NAL unit each: an array for each of them."""
    head = bytes([1, 1, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93, 0xF0, 0, 0xFC, 0xFD, 0xF8, 0xF8, 0, 0, 0x0F])
    return head + be(1, len(sets)) + b"".join(be(1, s[0] >> 1 & 63) + be(2, 1) + be(2, len(s)) + s for s in sets)


def entry(sets, kind=b"hvc1"):
    return box(kind, bytes(6), be(2, 1), bytes(16), be(2, 64), be(2, 64), bytes(50), box(b"hvcC", hvcc(sets)))


def trak(number, entries, tables):
    tkhd = full(b"tkhd", 0, 3, bytes(8), be(4, number), bytes(60), be(4, 64 << 16), be(4, 64 << 16))
    mdhd = full(b"mdhd", 0, 0, bytes(8), be(4, 25), be(4, 0), bytes(4))
    stsd = full(b"stsd", 0, 0, be(4, len(entries)), *entries)
    return box(b"trak", tkhd, box(b"mdia", mdhd, HDLR_VIDEO, box(b"minf", box(b"stbl", stsd, *tables))))


def tables(samples, size, chunks, per_chunk, offset):
    return [full(b"stsz", 0, 0, be(4, size), be(4, samples)), full(b"stts", 0, 0, be(4, 1), be(4, samples), be(4, 1)),
            full(b"stsc", 0, 0, be(4, 1), be(4, 1), be(4, per_chunk), be(4, 1)),
            full(b"stco", 0, 0, be(4, len(chunks)), b"".join(be(4, chunk or offset) for chunk in chunks))]


def prefixed(units):
    return b"".join(be(4, len(unit)) + unit for unit in units)


def movie(sets, size, samples, sample, chunks=1):
    """Samples of a size without end: all of one chunk, which lies in bytes of the same kind."""
    data = (sample * (size // len(sample) + 1))[:size - 1000]
    moov = box(b"moov", trak(1, [entry(sets)], tables(samples, 4, [len(FTYP) + 8] * chunks, samples // chunks, 0)))
    return FTYP + box(b"mdat", data) + moov


def meta(items, locations, properties=b"", associations=b"", references=b""):
    return full(b"meta", 0, 0, full(b"hdlr", 0, 0, bytes(4), b"pict", bytes(13)),
                full(b"iinf", 1, 0, be(4, len(items)),
                     *(full(b"infe", 2, 0, be(2, number), be(2, 0), kind, b"\0") for number, kind in items)),
                locations, box(b"iprp", box(b"ipco", properties), associations), references)


def iloc(entries):
    return full(b"iloc", 1, 0, be(2, 0x4400), be(2, len(entries)), *entries)


def place(number, extents):
    return be(2, number) + bytes(4) + be(2, len(extents)) + b"".join(be(4, o) + be(4, n) for o, n in extents)


def image(size, pieces, last, sets):
    head = box(b"ftyp", b"heic", bytes(4), b"mif1heic")
    zeros = size - 9 * pieces - 2000
    extents = [(len(head) + 8, 1)] * (pieces - last) + [(len(head) + 8, zeros)] * last
    return head + box(b"mdat", bytes(zeros)) + meta([(1, b"hvc1")], iloc([place(1, extents)]), box(b"hvcC", hvcc(sets)))


def images(size, sets):
    """Items that all have all properties, as many as fit."""
    head = box(b"ftyp", b"heic", bytes(4), b"mif1heic")
    properties = box(b"hvcC", hvcc(sets)) + full(b"ispe", 0, 0, be(4, 64), be(4, 64)) * 100
    count = min(size // (21 + 14 + 24 + 110), 65000)
    associations = full(b"ipma", 0, 0, be(4, count),
                        *(be(2, i) + be(1, 101) + bytes(range(1, 102)) for i in range(1, count + 1)))
    locations = iloc([place(i, [(0, 8)]) for i in range(1, count + 1)])
    return head + meta([(i, b"hvc1") for i in range(1, count + 1)], locations, properties, associations)


def grids(size):
    head = box(b"ftyp", b"heic", bytes(4), b"mif1heic")
    count = size // 90
    references = full(b"iref", 0, 0, *(box(b"dimg", be(2, i), be(2, 4), be(2, 1) * 4) for i in range(2, count + 1)))
    locations = iloc([place(i, [(8, 8)]) for i in range(1, count + 1)])
    return head + meta([(1, b"hvc1")] + [(i, b"grid") for i in range(2, count + 1)], locations, b"", b"", references)


def fragments(size, sets, per_fragment):
    moov = box(b"moov", trak(1, [entry(sets)], tables(0, 0, [], 1, 0)),
               box(b"mvex", full(b"trex", 0, 0, be(4, 1), be(4, 1), be(4, 1), be(4, 4), be(4, 0))))
    moof = box(b"moof", full(b"mfhd", 0, 0, be(4, 1)),
               box(b"traf", full(b"tfhd", 0, 0x20000, be(4, 1)),
                   *[full(b"trun", 0, 1, be(4, 1000), be(4, 0))] * per_fragment))
    file = FTYP + moov
    return file + moof * ((size - len(file)) // len(moof))


# Matroska

def ebml(identifier, content, size_bytes=4):
    return bytes.fromhex(identifier) + be(size_bytes, len(content) | 1 << 7 * size_bytes) + content


def matroska(tracks, clusters):
    return ebml("1A45DFA3", ebml("4282", b"matroska")) + bytes.fromhex("18538067") + b"\x01" + b"\xff" * 7 + \
        ebml("1654AE6B", b"".join(tracks)) + b"".join(clusters)


def track_entry(number, private, encodings=b""):
    return ebml("AE", ebml("D7", be(2, number)) + ebml("83", b"\1") + ebml("86", b"V_MPEGH/ISO/HEVC") +
                ebml("63A2", private) + encodings)


def zlib_encoding():
    return ebml("6D80", ebml("6240", ebml("5034", ebml("4254", b"\0"))))


def bombs(size, sets, plain):
    """Frames that are large only when unpacked."""
    frame = b"\x81\0\0\x80" + zlib.compress(plain, 9)
    cluster = ebml("1F43B675", ebml("E7", b"\0") + ebml("A3", frame))
    tracks = [track_entry(1, zlib.compress(hvcc(sets)), zlib_encoding())]
    return matroska(tracks, [cluster] * (size // len(cluster)))


def laced(size, sets):
    """256 frames of no bytes a block."""
    block = ebml("A3", b"\x81\0\0\x82" + b"\xff" + bytes(255), 2)
    clusters = [ebml("1F43B675", ebml("E7", b"\0") + block * 100)]
    return matroska([track_entry(1, hvcc(sets))], clusters * (size // len(clusters[0])))


# MPEG-TS

def crc(data):
    value = 0xFFFFFFFF
    for byte in data:
        value ^= byte << 24
        for _ in range(8):
            value = (value << 1 ^ 0x04C11DB7) & 0xFFFFFFFF if value >> 31 else value << 1
    return be(4, value)


def section(table, number, version, content):
    head = be(1, table) + be(2, 0xB000 | len(content) + 9) + be(2, number) + be(1, 0xC1 | version << 1) + bytes(2)
    return head + content + crc(head + content)


def packets(pid, payload, counter=0):
    """The packets of a payload that begins in the first of them."""
    made = []
    while payload:
        piece, payload = payload[:184], payload[184:]
        made.append(b"\x47" + be(2, (0x4000 if not made else 0) | pid) + be(1, 0x10 | (counter + len(made)) & 15) +
                    piece.ljust(184, b"\xff"))
    return b"".join(made)


def programs(size, sets):
    """As many streams of H.265 as fit, with sets of their own."""
    pat = section(0, 1, 0, b"".join(be(2, i + 1) + be(2, 0xE000 | 0x20 + i) for i in range(40)))
    file = packets(0, b"\0" + pat)
    pid = 0x100
    for i in range(40):
        streams = b"".join(be(1, 0x24) + be(2, 0xE000 | pid + j) + be(2, 0xF000) for j in range(196))
        file += packets(0x20 + i, b"\0" + section(2, i + 1, 0, be(2, 0xFFFF) + be(2, 0xF000) + streams))
        pid += 196
    unit = b"\0\0\1\xe0\0\0\x80\0\0" + b"".join(b"\0\0\0\1" + s for s in sets)
    for pid in range(0x100, 0x100 + 40 * 196):
        if len(file) + 188 > size:
            break
        file += packets(pid, unit[:184])
    return file


def versions(size, sets):
    """Tables that change with every packet."""
    file = b""
    unit = b"\0\0\1\xe0\0\0\x80\0\0" + b"".join(b"\0\0\0\1" + s for s in sets)
    for i in range(size // 188 // 3):
        pat = section(0, 1, i & 31, be(2, 1) + be(2, 0xE020))
        pmt = section(2, 1, i & 31, be(2, 0xFFFF) + be(2, 0xF000) + be(1, 0x24) + be(2, 0xE100 | i % 2) + be(2, 0xF000))
        file += packets(0, b"\0" + pat, i) + packets(0x20, b"\0" + pmt, i) + packets(0x100 | i % 2, unit[:184], i // 2)
    return file


def kinds(sets, size):
    """(name, suffix, function that makes the file) of each. Sets: VPS, SPS and PPS of a sound stream."""
    def nested(depth_of):
        file = b""
        for _ in range(10000):
            file = box(depth_of, file)
        return file

    def many_tracks():
        one = trak(1, [entry(sets)], tables(0, 0, [], 1, 0))
        count = size // len(one)
        return FTYP + box(b"moov", *(trak(i + 1, [entry(sets)], tables(0, 0, [], 1, 0)) for i in range(count)))

    def many_entries():
        one = entry(sets)
        return FTYP + box(b"moov", trak(1, [one] * ((size - 1000) // len(one)), tables(0, 0, [], 1, 0)))

    private = hvcc(sets)
    count = size // len(track_entry(1, private))
    return [
        ("overlapping samples", ".mp4", lambda: movie(sets, size, 2**32 - 1, b"\0\0\0\0")),
        ("overlapping sets", ".mp4", lambda: movie(sets, size, 2**32 - 1, prefixed(sets))),
        ("overlapping chunks", ".mp4", lambda: movie(sets, size // 2, 2**32 - 1, bytes(4), size // 8)),
        ("nested boxes", ".mp4", lambda: FTYP + box(b"moov", nested(b"trak"))),
        ("empty boxes", ".mp4", lambda: FTYP + box(b"moov", box(b"free") * (size // 8))),
        ("empty top boxes", ".mp4", lambda: FTYP + box(b"free") * (size // 8)),
        ("tracks of a movie", ".mp4", many_tracks),
        ("sample descriptions", ".mp4", many_entries),
        ("fragments", ".mp4", lambda: fragments(size, sets, 1)),
        ("runs of a fragment", ".mp4", lambda: fragments(size, sets, 1000)),
        ("image in pieces", ".heic", lambda: image(size, 4096, 90, sets)),
        ("images", ".heic", lambda: images(size, sets)),
        ("grids", ".heic", lambda: grids(size)),
        ("tracks of Matroska", ".mkv", lambda: matroska([track_entry(i + 1, private) for i in range(count)], [])),
        ("laced frames", ".mkv", lambda: laced(size, sets)),
        ("packed zeros", ".mkv", lambda: bombs(size, sets, bytes(1 << 20))),
        ("packed units", ".mkv", lambda: bombs(size, sets, prefixed(sets) * 20000)),
        ("empty elements", ".mkv", lambda: matroska([], [ebml("EC", b"", 1) * (size // 2)])),
        ("streams of programs", ".ts", lambda: programs(size, sets)),
        ("changing tables", ".ts", lambda: versions(size, sets)),
        ("packets alone", ".ts", lambda: (b"\x47\x01\x00\x10" + bytes(184)) * (size // 188)),
        ("base64", ".sdp", lambda: b"a=fmtp:96 sprop-sps=" + b"QgEBAWAAAAMA," * (size // 13)),
    ]
