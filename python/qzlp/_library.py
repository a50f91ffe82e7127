"""The shared library: where it is found, and the C interface as ctypes sees it."""

from __future__ import annotations

import ctypes
import os
from ctypes import CFUNCTYPE, POINTER, Structure, c_char, c_char_p, c_double, c_int, c_int32, c_int64, c_uint8
from ctypes import c_uint32, c_void_p
from pathlib import Path
from typing import List, NoReturn

ABI_VERSION = 1

OK, ERROR_ARGUMENT, ERROR_MODEL, ERROR_STATE, ERROR_MEMORY, ERROR_MODULE, ERROR_FILE = range(7)
QUADRATIC_LOWER, QUADRATIC_UPPER, QUADRATIC_FULL = range(3)
LOG_DEBUG = 0
INFINITE = 1e20  # magnitudes from here on are no bound and no side


class ModelRecord(Structure):
    _fields_ = [
        ("numRow", c_int32),
        ("numCol", c_int32),
        ("numCoef", c_int32),
        ("objSense", c_int32),
        ("objConstant", c_double),
        ("colBegin", POINTER(c_int32)),
        ("colLength", POINTER(c_int32)),
        ("rowIndex", POINTER(c_int32)),
        ("matValue", POINTER(c_double)),
        ("obj", POINTER(c_double)),
        ("lower", POINTER(c_double)),
        ("upper", POINTER(c_double)),
        ("rowSense", POINTER(c_char)),
        ("rhs", POINTER(c_double)),
        ("range", POINTER(c_double)),
    ]


class QuadraticRecord(Structure):
    _fields_ = [
        ("form", c_int32),
        ("numCoef", c_int32),
        ("colBegin", POINTER(c_int32)),
        ("colLength", POINTER(c_int32)),
        ("rowIndex", POINTER(c_int32)),
        ("value", POINTER(c_double)),
    ]


class OptionRecord(Structure):
    _fields_ = [
        ("name", c_char_p),
        ("type", c_int),
        ("defaultValue", c_double),
        ("minimum", c_double),
        ("maximum", c_double),
        ("description", c_char_p),
    ]


class ProgressRecord(Structure):
    _fields_ = [
        ("seconds", c_double),
        ("complementarity", c_double),
        ("dualityGap", c_double),
        ("primalInfeasibility", c_double),
        ("boundInfeasibility", c_double),
        ("dualInfeasibility", c_double),
        ("iteration", c_int32),
    ]


LogCallback = CFUNCTYPE(None, c_int, c_uint32, c_char_p, c_void_p)
BreakCallback = CFUNCTYPE(c_int, c_void_p)
ProgressCallback = CFUNCTYPE(c_int, POINTER(ProgressRecord), c_void_p)

# Result and argument types of every function in use; a handle is a void pointer.
_PROTOTYPES = {
    "qzlp_version": (c_char_p, []),
    "qzlp_abiVersion": (c_int, []),
    "qzlp_create": (c_void_p, []),
    "qzlp_destroy": (None, [c_void_p]),
    "qzlp_error": (c_char_p, [c_void_p]),
    "qzlp_loadModel": (c_int, [c_void_p, POINTER(ModelRecord)]),
    "qzlp_loadQuadratic": (c_int, [c_void_p, POINTER(QuadraticRecord)]),
    "qzlp_getModel": (c_int, [c_void_p, POINTER(ModelRecord)]),
    "qzlp_getQuadratic": (c_int, [c_void_p, POINTER(QuadraticRecord)]),
    "qzlp_readModel": (c_int, [c_void_p, c_char_p]),
    "qzlp_writeModel": (c_int, [c_void_p, c_char_p]),
    "qzlp_noteCount": (c_int32, [c_void_p]),
    "qzlp_noteAt": (c_char_p, [c_void_p, c_int32]),
    "qzlp_modelName": (c_char_p, [c_void_p]),
    "qzlp_columnName": (c_char_p, [c_void_p, c_int32]),
    "qzlp_rowName": (c_char_p, [c_void_p, c_int32]),
    "qzlp_setNames": (c_int, [c_void_p, c_char_p, POINTER(c_char_p), POINTER(c_char_p)]),
    "qzlp_setObjSense": (c_int, [c_void_p, c_int32]),
    "qzlp_setObjConstant": (c_int, [c_void_p, c_double]),
    "qzlp_setCost": (c_int, [c_void_p, c_int32, c_double]),
    "qzlp_setBounds": (c_int, [c_void_p, c_int32, c_double, c_double]),
    "qzlp_setRow": (c_int, [c_void_p, c_int32, c_char, c_double, c_double]),
    "qzlp_setElement": (c_int, [c_void_p, c_int32, c_int32, c_double]),
    "qzlp_numRow": (c_int32, [c_void_p]),
    "qzlp_numCol": (c_int32, [c_void_p]),
    "qzlp_optionCount": (c_int, []),
    "qzlp_optionAt": (POINTER(OptionRecord), [c_int]),
    "qzlp_setDoubleOption": (c_int, [c_void_p, c_char_p, c_double]),
    "qzlp_getDoubleOption": (c_int, [c_void_p, c_char_p, POINTER(c_double)]),
    "qzlp_resetOptions": (c_int, [c_void_p]),
    "qzlp_setLogCallback": (c_int, [c_void_p, LogCallback, c_void_p]),
    "qzlp_setBreakCallback": (c_int, [c_void_p, BreakCallback, c_void_p]),
    "qzlp_setProgressCallback": (c_int, [c_void_p, ProgressCallback, c_void_p]),
    "qzlp_solve": (c_int, [c_void_p]),
    "qzlp_status": (c_int, [c_void_p]),
    "qzlp_hasPoint": (c_int, [c_void_p]),
    "qzlp_statusText": (c_char_p, [c_int]),
    "qzlp_objective": (c_double, [c_void_p]),
    "qzlp_iterations": (c_int32, [c_void_p]),
    "qzlp_simplexIterations": (c_int32, [c_void_p]),
    "qzlp_primalInfeasibility": (c_double, [c_void_p]),
    "qzlp_dualInfeasibility": (c_double, [c_void_p]),
    "qzlp_boundInfeasibility": (c_double, [c_void_p]),
    "qzlp_dualityGap": (c_double, [c_void_p]),
    "qzlp_complementarity": (c_double, [c_void_p]),
    "qzlp_presolveTime": (c_double, [c_void_p]),
    "qzlp_totalTime": (c_double, [c_void_p]),
    "qzlp_primal": (POINTER(c_double), [c_void_p]),
    "qzlp_dual": (POINTER(c_double), [c_void_p]),
    "qzlp_reducedCost": (POINTER(c_double), [c_void_p]),
    "qzlp_rowActivity": (POINTER(c_double), [c_void_p]),
    "qzlp_columnBasis": (POINTER(c_uint8), [c_void_p]),
    "qzlp_rowBasis": (POINTER(c_uint8), [c_void_p]),
    "qzlp_memoryPeak": (c_int64, []),
}


def _candidates() -> List[str]:
    """Where the library may be, in the order to look: as the environment says, in this package, in the system."""
    named = os.environ.get("QZLP_LIBRARY", "")
    if named:
        return [named]
    return [str(Path(__file__).with_name("libqzlp.so")), f"libqzlp.so.{ABI_VERSION}"]


def _load() -> ctypes.CDLL:
    reasons = []
    for path in _candidates():
        try:
            library = ctypes.CDLL(path)
        except OSError as error:
            reasons.append(str(error))
            continue
        for name, (result, arguments) in _PROTOTYPES.items():
            function = getattr(library, name, None)
            if function is None:
                raise ImportError(f"{path} is too old for this package: it has no {name}")
            function.restype = result
            function.argtypes = arguments
        if library.qzlp_abiVersion() != ABI_VERSION:
            raise ImportError(f"{path} has interface version {library.qzlp_abiVersion()}, not {ABI_VERSION}")
        return library
    raise ImportError(
        "the library of qzlp was not found; QZLP_LIBRARY may name it, such as build/release/lib/libqzlp.so ("
        + "; ".join(reasons)
        + ")"
    )


library = _load()


def version() -> str:
    """Version of the library, "major.minor.patch"."""
    return library.qzlp_version().decode()


def abi_version() -> int:
    """Version of the library's binary interface."""
    return library.qzlp_abiVersion()


def raise_error(code: int, text: str) -> NoReturn:
    """Raises what a return code of the library stands for."""
    if code in (ERROR_ARGUMENT, ERROR_MODEL, ERROR_FILE):
        raise ValueError(text)
    if code == ERROR_MEMORY:
        raise MemoryError(text)
    raise RuntimeError(text)
