"""Linear and convex quadratic programs, solved by an interior-point method.

    >>> import qzlp
    >>> result = qzlp.solve([2.0, 3.0], A=[[1.0, 1.0]], row_lower=[4.0])
    >>> result.status.name
    'OPTIMAL'
    >>> round(result.objective, 4)
    8.0

`solve` takes arrays, `read` a model file, `linprog` has the signature of SciPy's function of that name, and `Solver`
keeps a model to be changed and solved again.
"""

from ._library import abi_version, version
from .model import Model, read
from .scipy_api import linprog
from .solver import Option, Progress, Solver, option_table, solve
from .status import Basis, Result, Status

__version__ = version()
__all__ = [
    "Basis",
    "Model",
    "Option",
    "Progress",
    "Result",
    "Solver",
    "Status",
    "abi_version",
    "linprog",
    "option_table",
    "read",
    "solve",
    "version",
]
