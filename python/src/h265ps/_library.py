"""libh265ps.so.0 and what its header declares."""
import pathlib
import re

import cffi

_HERE = pathlib.Path(__file__).resolve().parent
_NAME = "libh265ps.so.0"


def _declarations() -> str:
    """The header's declarations, without what is for the preprocessor."""
    text = (_HERE / "h265ps.h").read_text(encoding="utf-8")
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)
    text = re.sub(r'#ifdef __cplusplus.*?#endif', "", text, flags=re.DOTALL)
    text = re.sub(r"^#.*$", "", text, flags=re.MULTILINE)
    return text.replace("H265PS_API ", "")


ffi = cffi.FFI()
ffi.cdef(_declarations())
_beside = _HERE / _NAME
lib = ffi.dlopen(str(_beside) if _beside.exists() else _NAME)


def text_of(pointer) -> str:
    """A text of the library. Names of files can have bytes that are no UTF-8."""
    return ffi.string(pointer).decode("utf-8", "replace")
