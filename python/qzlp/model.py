"""A linear or convex quadratic program in memory, and its way into the library and back."""

from __future__ import annotations

import ctypes
import os
from dataclasses import dataclass, field
from typing import Any, List, Optional, Tuple, Union

import numpy as np
from numpy.typing import ArrayLike
from scipy import sparse

from . import _library as lib

Path = Union[str, "os.PathLike[str]"]


@dataclass
class Model:
    """minimise or maximise  c'x + x'Qx / 2 + constant,  row_lower <= A x <= row_upper,  lower <= x <= upper.

    A row with equal sides is an equation. Infinite sides and bounds are absent. Q is the whole symmetric matrix, or None
    for a linear objective. Scalars stand for arrays of them; A may be dense or sparse. Without an A there are no rows.
    """

    # Given as what NumPy makes an array of, and then such arrays: A and Q by columns, the others vectors.
    c: Any
    A: Any = None
    row_lower: Any = -np.inf
    row_upper: Any = np.inf
    lower: Any = 0.0
    upper: Any = np.inf
    Q: Any = None
    constant: float = 0.0
    maximize: bool = False
    name: str = ""
    column_names: List[str] = field(default_factory=list)
    row_names: List[str] = field(default_factory=list)
    notes: List[str] = field(default_factory=list)  # what a file's reader read in another way than it stands

    def __post_init__(self) -> None:
        self.c = np.atleast_1d(np.asarray(self.c, dtype=float))
        if self.c.ndim != 1:
            raise ValueError(f"c must be a vector, not an array of {self.c.ndim} dimensions")
        numCol = len(self.c)
        self.A = _columns(self.A, "A", numCol) if self.A is not None else sparse.csc_array((0, numCol))
        self.Q = _columns(self.Q, "Q", numCol) if self.Q is not None else None
        if self.Q is not None and self.Q.shape[0] != numCol:
            raise ValueError(f"Q has {self.Q.shape[0]} rows, but c has {numCol} entries")
        self.row_lower = _vector(self.row_lower, "row_lower", self.A.shape[0])
        self.row_upper = _vector(self.row_upper, "row_upper", self.A.shape[0])
        self.lower = _vector(self.lower, "lower", numCol)
        self.upper = _vector(self.upper, "upper", numCol)
        for what, names, count in (("column", self.column_names, numCol), ("row", self.row_names, self.A.shape[0])):
            if names and len(names) != count:
                raise ValueError(f"{len(names)} {what} names for {count} {what}s")

    def solve(self, **arguments: Any) -> Any:
        """Solves the model; the arguments are those of Solver and of Solver.solve. Returns a Result."""
        from .solver import solve_model

        return solve_model(self, **arguments)

    def write(self, path: Path) -> None:
        """Writes the model as a free MPS file, in full precision."""
        from .solver import Solver

        with Solver(self) as solver:
            solver.write(path)


def read(path: Path) -> Model:
    """Reads an MPS or LP file, plain, gzip or bzip2. Integer columns become continuous, with a note."""
    from .solver import Solver

    with Solver() as solver:
        solver.read(path)
        return solver.model()


def _vector(values: ArrayLike, name: str, count: int) -> np.ndarray:
    array = np.asarray(values, dtype=float)
    if array.ndim > 1 or (array.ndim == 1 and len(array) != count):
        raise ValueError(f"{name} has the shape {array.shape}, but {count} entries are needed")
    return np.ascontiguousarray(np.broadcast_to(array, count))


def _columns(matrix: Any, name: str, numCol: int) -> sparse.csc_array:
    """The matrix by columns, each element once, without touching the caller's."""
    if not sparse.issparse(matrix):
        matrix = np.asarray(matrix, dtype=float)
        if matrix.ndim != 2:
            raise ValueError(f"{name} must be a matrix, not an array of {matrix.ndim} dimensions")
    packed = sparse.csc_array(matrix, dtype=float)
    if packed.shape[1] != numCol:
        raise ValueError(f"{name} has {packed.shape[1]} columns, but c has {numCol} entries")
    if not packed.has_canonical_format:
        packed = packed.copy()
        packed.sum_duplicates()
    if packed.nnz > np.iinfo(np.int32).max:
        raise ValueError(f"{name} has more than 2147483647 elements")
    return packed


def row_record(lower: float, upper: float) -> Tuple[bytes, float, float]:
    """Sense, right-hand side and range of lower <= activity <= upper."""
    hasLower = not lower <= -lib.INFINITE
    hasUpper = not upper >= lib.INFINITE
    if hasLower and hasUpper:
        if lower == upper:
            return b"E", upper, 0.0
        if upper < lower:
            raise ValueError(f"a row has the sides {lower:g} and {upper:g}, which nothing can meet")
        return b"R", upper, upper - lower
    if hasUpper:
        return b"L", upper, 0.0
    return (b"G", lower, 0.0) if hasLower else (b"N", 0.0, 0.0)


def _rows(model: Model) -> Tuple[bytes, np.ndarray, np.ndarray]:
    """Senses, right-hand sides and ranges of all rows at once; the same as row_record for each."""
    low, high = np.asarray(model.row_lower), np.asarray(model.row_upper)
    hasLower, hasUpper = ~(low <= -lib.INFINITE), ~(high >= lib.INFINITE)
    both = hasLower & hasUpper
    crossed = np.flatnonzero(both & (high < low))
    if len(crossed) > 0:
        row_record(low[crossed[0]], high[crossed[0]])
    equal = both & (low == high)
    sense = np.where(equal, b"E", np.where(both, b"R", np.where(hasUpper, b"L", np.where(hasLower, b"G", b"N"))))
    rhs = np.where(hasUpper, high, np.where(hasLower, low, 0.0))
    with np.errstate(invalid="ignore"):
        width = np.where(both & ~equal, high - low, 0.0)
    return sense.astype("S1").tobytes(), np.ascontiguousarray(rhs), np.ascontiguousarray(width)


class _Lent:
    """Arrays lent to the library for one call, kept alive as long as this object."""

    def __init__(self) -> None:
        self._kept: List[Any] = []

    def _pointer(self, array: np.ndarray, kind: Any) -> Any:
        self._kept.append(array)
        return array.ctypes.data_as(ctypes.POINTER(kind))

    def doubles(self, array: Any) -> Any:
        return self._pointer(np.ascontiguousarray(array, dtype=float), ctypes.c_double)

    def int32s(self, array: Any) -> Any:
        return self._pointer(np.ascontiguousarray(array, dtype=np.int32), ctypes.c_int32)

    def bytes(self, text: bytes) -> Any:
        buffer = ctypes.create_string_buffer(text, max(len(text), 1))
        self._kept.append(buffer)
        return ctypes.cast(buffer, ctypes.POINTER(ctypes.c_char))


def load(handle: int, model: Model) -> int:
    """Hands the model to the library, which copies it. Returns the library's code."""
    lent = _Lent()
    matrix = model.A
    sense, rhs, width = _rows(model)
    record = lib.ModelRecord(
        numRow=matrix.shape[0],
        numCol=matrix.shape[1],
        numCoef=matrix.nnz,
        objSense=-1 if model.maximize else 1,
        objConstant=model.constant,
        colBegin=lent.int32s(matrix.indptr),
        rowIndex=lent.int32s(matrix.indices),
        matValue=lent.doubles(matrix.data),
        obj=lent.doubles(model.c),
        lower=lent.doubles(model.lower),
        upper=lent.doubles(model.upper),
        rowSense=lent.bytes(sense),
        rhs=lent.doubles(rhs),
        range=lent.doubles(width),
    )
    code = lib.library.qzlp_loadModel(handle, record)
    if code == lib.OK and model.Q is not None:
        quadratic = lib.QuadraticRecord(
            form=lib.QUADRATIC_FULL,
            numCoef=model.Q.nnz,
            colBegin=lent.int32s(model.Q.indptr),
            rowIndex=lent.int32s(model.Q.indices),
            value=lent.doubles(model.Q.data),
        )
        code = lib.library.qzlp_loadQuadratic(handle, quadratic)
    if code == lib.OK:
        code = lib.library.qzlp_setNames(handle, model.name.encode(), _texts(model.column_names), _texts(model.row_names))
    return code


def _texts(names: List[str]) -> Any:
    return (ctypes.c_char_p * len(names))(*(name.encode() for name in names)) if names else None


def array_of(pointer: Any, count: int, dtype: Any = float) -> np.ndarray:
    """A copy of `count` entries behind a pointer of the library."""
    if count == 0:
        return np.zeros(0, dtype=dtype)
    return np.array(np.ctypeslib.as_array(pointer, shape=(count,)), dtype=dtype)


def _matrix(record: Any, values: Any, shape: Tuple[int, int]) -> sparse.csc_array:
    begin = array_of(record.colBegin, shape[1] + 1, np.int32)
    count = int(record.numCoef)
    return sparse.csc_array((array_of(values, count), array_of(record.rowIndex, count, np.int32), begin), shape=shape)


def fetch(handle: int) -> Model:
    """The model that the library holds. It must hold one."""
    record, quadratic = lib.ModelRecord(), lib.QuadraticRecord()
    for code in (lib.library.qzlp_getModel(handle, record), lib.library.qzlp_getQuadratic(handle, quadratic)):
        if code != lib.OK:
            lib.raise_error(code, lib.library.qzlp_error(handle).decode())
    numRow, numCol = record.numRow, record.numCol
    sense = np.frombuffer(ctypes.string_at(record.rowSense, numRow), dtype="S1")
    rhs, width = array_of(record.rhs, numRow), array_of(record.range, numRow)
    lower = np.where(sense == b"R", rhs - width, np.where((sense == b"E") | (sense == b"G"), rhs, -np.inf))
    upper = np.where((sense == b"G") | (sense == b"N"), np.inf, rhs)
    half = _matrix(quadratic, quadratic.value, (numCol, numCol)) if quadratic.numCoef > 0 else None
    return Model(
        c=array_of(record.obj, numCol),
        A=_matrix(record, record.matValue, (numRow, numCol)),
        row_lower=_opened(lower),
        row_upper=_opened(upper),
        lower=_opened(array_of(record.lower, numCol)),
        upper=_opened(array_of(record.upper, numCol)),
        Q=None if half is None else half + sparse.tril(half, k=-1).T,
        constant=record.objConstant,
        maximize=record.objSense == -1,
        name=_text(lib.library.qzlp_modelName(handle)),
        column_names=_names(lib.library.qzlp_columnName, handle, numCol),
        row_names=_names(lib.library.qzlp_rowName, handle, numRow),
        notes=[_text(lib.library.qzlp_noteAt(handle, k)) for k in range(lib.library.qzlp_noteCount(handle))],
    )


def _opened(values: np.ndarray) -> np.ndarray:
    """What counts as infinite, infinite."""
    return np.where(values >= lib.INFINITE, np.inf, np.where(values <= -lib.INFINITE, -np.inf, values))


def _text(data: bytes) -> str:
    return data.decode(errors="replace")


def _names(name_at: Any, handle: int, count: int) -> List[str]:
    names = [_text(name_at(handle, k)) for k in range(count)]
    return names if any(names) else []
