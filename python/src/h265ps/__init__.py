"""The parameter sets of H.265 files: what h265ps shows, from Python.

    import h265ps

    for s in h265ps.open("movie.mp4"):
        print(s.type, s.id, s.place, s.findings)
"""
from __future__ import annotations

import json
import os
from dataclasses import dataclass
from typing import Any, Iterator, Mapping, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from ._library import ffi, lib, text_of

__all__ = ["Element", "File", "Finding", "ParameterSet", "Tiles", "UnreadableError", "open", "parse", "version"]

_TYPES = {32: "VPS", 33: "SPS", 34: "PPS"}
_SEVERITIES = {0: "error", 1: "warning"}
_NO_MEMORY = 3
_UNREADABLE = 1


class UnreadableError(OSError):
    """A file that is missing, cut, or of no kind that is read. `file` holds what was read of it."""

    def __init__(self, message: str, file: "File") -> None:
        super().__init__(message)
        self.file = file


@dataclass(frozen=True)
class Finding:
    """What is wrong with a set, a stream or its container. None where there is no such thing."""

    severity: str  # "error" or "warning"
    message: str
    clause: Optional[str]
    element: Optional[str]  # with its indices
    structure: str  # that the element stands in
    box: Optional[str]  # of the container
    offset: Optional[int]  # byte of the file
    bit: Optional[int]  # of the element in the RBSP

    def __str__(self) -> str:
        clause = f" [{self.clause}]" if self.clause else ""
        return f"{self.severity}: {self.message}{clause}"


@dataclass(frozen=True)
class Element:
    """A coded syntax element."""

    name: str  # with its indices
    structure: str
    descriptor: str  # "u(8)", "ue(v)", "se(v)"
    value: int
    bit: int  # in the RBSP, the NAL unit header excluded
    nal_bit: int  # in the NAL unit
    bits: int


@dataclass(frozen=True)
class Tiles:
    """The tile grid of a PPS, H.265 6.5.1. Sizes and addresses count CTBs."""

    column_widths: npt.NDArray[np.uint32]
    row_heights: npt.NDArray[np.uint32]

    @property
    def tile_ids(self) -> npt.NDArray[np.uint32]:
        """The tile of each CTB, by row and column of the picture; ravel() is TileId by raster address."""
        columns = np.repeat(np.arange(len(self.column_widths), dtype=np.uint32), self.column_widths)
        rows = np.repeat(np.arange(len(self.row_heights), dtype=np.uint32), self.row_heights)
        return rows[:, None] * np.uint32(len(self.column_widths)) + columns[None, :]

    @property
    def ts_to_rs(self) -> npt.NDArray[np.uint32]:
        """CtbAddrTsToRs: the raster address of each CTB in tile scan."""
        return np.argsort(self.tile_ids.ravel(), kind="stable").astype(np.uint32)

    @property
    def rs_to_ts(self) -> npt.NDArray[np.uint32]:
        """CtbAddrRsToTs: the address in tile scan of each CTB in raster scan."""
        forward = self.ts_to_rs
        back = np.empty_like(forward)
        back[forward] = np.arange(len(forward), dtype=np.uint32)
        return back


def _finding(ask: Any, owner: Any, index: int) -> Finding:
    found = ffi.new("h265ps_finding *")
    ask(owner, index, found)
    return Finding(
        severity=_SEVERITIES[found.severity],
        message=text_of(found.message),
        clause=text_of(found.clause) or None,
        element=text_of(found.element) or None,
        structure=text_of(found.structure),
        box=text_of(found.box) or None,
        offset=None if found.offset < 0 else int(found.offset),
        bit=None if found.bit < 0 else int(found.bit),
    )


class ParameterSet:
    """A VPS, SPS or PPS NAL unit of a file."""

    def __init__(self, file: "File", pointer: Any) -> None:
        self._file = file  # which the pointer belongs to
        self._pointer = pointer
        self._document: Optional[dict[str, Any]] = None
        self._first: Optional["ParameterSet"] = None

    @property
    def type(self) -> str:
        """ "VPS", "SPS" or "PPS"."""
        return _TYPES[lib.h265ps_set_type(self._pointer)]

    @property
    def id(self) -> Optional[int]:
        """Its id; None where that could not be read."""
        number = lib.h265ps_set_id(self._pointer)
        return None if number < 0 else int(number)

    @property
    def layer(self) -> Optional[int]:
        """nuh_layer_id."""
        number = lib.h265ps_set_layer(self._pointer)
        return None if number < 0 else int(number)

    @property
    def place(self) -> str:
        """Where it stands, for people: "byte 33", "track 1, hvcC"."""
        return text_of(lib.h265ps_set_place(self._pointer))

    @property
    def offset(self) -> Optional[int]:
        """Byte of the file; None where the bytes do not stand so in it."""
        number = lib.h265ps_set_offset(self._pointer)
        return None if number < 0 else int(number)

    @property
    def size(self) -> int:
        """Bytes of the NAL unit."""
        return int(lib.h265ps_set_size(self._pointer))

    @property
    def track(self) -> Optional[int]:
        """track_ID, TrackNumber, PID or item id; None in a byte stream."""
        number = lib.h265ps_set_track(self._pointer)
        return None if number < 0 else int(number)

    @property
    def time(self) -> Optional[float]:
        """Seconds, where the container tells them."""
        seconds = ffi.new("double *")
        return float(seconds[0]) if lib.h265ps_set_time(self._pointer, seconds) else None

    @property
    def is_repeat(self) -> bool:
        """The same set stood in the file before: it holds what `first` does, which has the findings."""
        return bool(lib.h265ps_set_is_repeat(self._pointer))

    @property
    def first(self) -> "ParameterSet":
        """Of a repeat the set that it repeats, else the set itself."""
        if self._first is None:
            self._first = self._file._first_of(self) if self.is_repeat else self  # pylint: disable=protected-access
        return self._first

    @property
    def is_accepted(self) -> bool:
        """The decoder (8-bit 4:2:0, one layer) read it, and its own checks pass."""
        return bool(lib.h265ps_set_is_accepted(self._pointer))

    @property
    def document(self) -> Mapping[str, Any]:
        """The set as `h265ps --json` writes it: syntax and record of a repeat are None there."""
        if self._document is None:
            self._document = json.loads(text_of(lib.h265ps_set_json(self._pointer)))
        return self._document

    @property
    def syntax(self) -> Optional[Mapping[str, Any]]:
        """Every coded element under its name, structures as mappings, indices as lists."""
        return self.first.document["syntax"]

    @property
    def record(self) -> Optional[Mapping[str, Any]]:
        """What the decoder's reader makes of it; None when it was not read."""
        return self.first.document["record"]

    def value(self, path: str) -> Optional[int]:
        """The value of a coded element: "vui_parameters.colour_primaries"; None when the set has none such."""
        number = ffi.new("int64_t *")
        name = path.encode(errors="replace").replace(b"\0", b"?")  # C would end there
        return int(number[0]) if lib.h265ps_set_value(self._pointer, name, number) else None

    @property
    def elements(self) -> list[Element]:
        """The coded elements in coding order, with their places."""
        result = []
        element = ffi.new("h265ps_element *")
        for i in range(lib.h265ps_element_count(self._pointer)):
            lib.h265ps_element_at(self._pointer, i, element)
            result.append(
                Element(
                    name=text_of(element.name),
                    structure=text_of(element.structure),
                    descriptor=text_of(element.descriptor),
                    value=int(element.value),
                    bit=int(element.bit),
                    nal_bit=int(element.nal_bit),
                    bits=int(element.bits),
                )
            )
        return result

    @property
    def findings(self) -> list[Finding]:
        """What is wrong with this set."""
        count = lib.h265ps_set_finding_count(self._pointer)
        return [_finding(lib.h265ps_set_finding_at, self._pointer, i) for i in range(count)]

    @property
    def tiles(self) -> Optional[Tiles]:
        """The tile grid of a PPS with tiles that was read."""
        record = self.record
        if self.type != "PPS" or not record or not record["tiles_enabled_flag"] or record["colWidth"] is None:
            return None
        return Tiles(np.array(record["colWidth"], np.uint32), np.array(record["rowHeight"], np.uint32))

    def scaling_matrix(self, size_id: int, matrix_id: int) -> Optional[npt.NDArray[np.uint8]]:
        """The scaling matrix in force: a square of 4 << size_id, rows first. None without one."""
        record = self.record
        lists = record.get("pScalingList") if record else None
        matrix = lists[size_id][matrix_id] if lists else None
        if matrix is None:
            return None
        side = 4 << size_id
        return np.array(matrix["coef"], np.uint8).reshape(side, side)

    def __repr__(self) -> str:
        number = "" if self.id is None else f" {self.id}"
        return f"<{self.type}{number}, {self.place}>"


class File(Sequence[ParameterSet]):
    """The parameter sets of a file, in its order."""

    def __init__(self, pointer: Any) -> None:
        self._pointer = ffi.gc(pointer, lib.h265ps_close)
        self._sets = [
            ParameterSet(self, lib.h265ps_set_at(self._pointer, i))
            for i in range(lib.h265ps_set_count(self._pointer))
        ]

    def __len__(self) -> int:
        return len(self._sets)

    def __getitem__(self, index):  # type: ignore[no-untyped-def]
        return self._sets[index]

    def __iter__(self) -> Iterator[ParameterSet]:
        return iter(self._sets)

    def __enter__(self) -> "File":
        return self

    def __exit__(self, *_: object) -> None:
        """Nothing is left to close: the file was read when it was opened."""

    def _first_of(self, repeat: ParameterSet) -> ParameterSet:
        place = repeat.document["same_as_place"]
        for one in self._sets:
            # A packet can have several sets of a type and size.
            if (
                (one.type, one.size, one.place) == (repeat.type, repeat.size, place)
                and not one.is_repeat
                and one.elements == repeat.elements
            ):
                return one
        return repeat

    @property
    def verdict(self) -> str:
        """Whether a decoder (8-bit 4:2:0, one layer) takes the file, in words."""
        return text_of(lib.h265ps_verdict(self._pointer))

    @property
    def exit_code(self) -> int:
        """As h265ps exits: 0 the decoder takes it, 1 it does not, 2 it could not be read to its end."""
        return int(lib.h265ps_exit_code(self._pointer))

    @property
    def errors(self) -> list[str]:
        """The error lines."""
        return text_of(lib.h265ps_errors(self._pointer)).splitlines()

    @property
    def document(self) -> Optional[Mapping[str, Any]]:
        """Everything as `h265ps --json` writes it; None when nothing was read."""
        text = text_of(lib.h265ps_json(self._pointer))
        return json.loads(text) if text else None

    @property
    def gist(self) -> Optional[Mapping[str, Any]]:
        """What the stream is: size, frame rate, profile, level, colour, "codecs"."""
        document = self.document
        return document["gist"] if document else None

    @property
    def findings(self) -> list[Finding]:
        """What is wrong with the sets among each other, and with the container."""
        count = lib.h265ps_finding_count(self._pointer)
        return [_finding(lib.h265ps_finding_at, self._pointer, i) for i in range(count)]


def _opened(status: int, pointer: Any, name: str) -> File:
    if status == _NO_MEMORY:
        raise MemoryError(name)
    file = File(pointer[0])
    if status == _UNREADABLE:
        message = file.errors[0].removeprefix("h265ps: error: ") if file.errors else text_of(lib.h265ps_status_text(status))
        raise UnreadableError(message, file)
    return file


def open(path: Union[str, bytes, "os.PathLike[str]"]) -> File:  # pylint: disable=redefined-builtin
    """Reads a file of any kind: byte stream, MP4, MOV, HEIF, Matroska, MPEG-TS, SDP.

    Raises UnreadableError when it cannot be read (to its end)."""
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("embedded null byte")  # as the built-in open does: C would read another file
    pointer = ffi.new("h265ps_file **")
    return _opened(lib.h265ps_open(name, pointer), pointer, os.fsdecode(path))


def parse(data: bytes) -> File:
    """The same of the bytes of a file."""
    pointer = ffi.new("h265ps_file **")
    return _opened(lib.h265ps_open_memory(ffi.from_buffer(data), len(data), pointer), pointer, "memory")


def version() -> str:
    """The version of the library."""
    return text_of(lib.h265ps_version())
