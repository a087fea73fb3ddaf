#!/usr/bin/env python3
"""Writes zelboard.fw from the public headers: generate.py COMPILER INCLUDE SONAME OUTPUT

OUTPUT/raw.py has the C interface as ctypes sees it, OUTPUT/__init__.py what Python programs call, and OUTPUT/calls.py the
types of a session. A declaration that cannot be bound, or whose doc block does not say what a pointer is for, ends the
run with a line that names it.
"""
import re
import sys
from pathlib import Path
from typing import Dict

from functions import NAMED, Function, documented
from headers import Doc, Type, fail, parse, read_docs, type_of
from pycparser import c_ast  # type: ignore[import]

# Records that have methods, and the class that has the methods.
RECORDS = {"rtc_record": "ClockRecord"}


def record(name: str, fields: Dict[str, Type], doc: Doc) -> str:
    shown = "".join(f"    {field}: {of.python()}\n" for field, of in fields.items())
    rows = ", ".join(f'("{field}", {of.ctypes()})' for field, of in fields.items())
    base = RECORDS.get(name, "Record")
    return f"\n\nclass {name}(_call.{base}):\n{documented('    ', doc.text, [])}{shown}    _fields_ = [{rows}]\n"


RAW_HEAD = '''"""The C interface of the board-support library as it is, for ctypes. Written by generate.py from the headers."""
import os
from ctypes import CDLL, POINTER, Array, c_char, c_char_p, c_float, c_int, c_int32, c_uint8, c_uint16, c_uint32, c_void_p
from zelboard import _call

library = CDLL(os.environ.get("ZELBOARD_LIBRARY") or "@SONAME@")
'''

FW_HEAD = '''"""The board-support library: every exported function, variable and table. Written by generate.py from the headers.

Out-parameters are returned. If the function itself returns data, the data come first. A status other than 0 is raised:
Busy, Absent, NotSfp, Refused or Failed. Buffers are bytes, given without their lengths. zelboard.fw.raw is C as it is."""
import enum
import sys
from ctypes import POINTER, Array, byref, c_char, c_uint8, c_uint16, c_uint32
from os import fsdecode
from typing import Optional, Tuple
from zelboard import _call
from zelboard._call import Buffer, File, Text
from zelboard._call import Absent as Absent, Busy as Busy, Error as Error, Failed as Failed, NotSfp as NotSfp
from zelboard._call import Refused as Refused
from zelboard.fw import raw as raw
from zelboard.fw.raw import *

_raw = raw
_ERRORS = {FW_I2C_BUSY: Busy, FW_ABSENT: Absent, FW_NOT_SFP: NotSfp, FW_REFUSED: Refused}
for _kind in (Error, Failed, *_ERRORS.values()): _kind.__module__ = __name__
'''

FW_TAIL = '''

def get_env(name: str) -> Optional[str]:
    """The value of a variable of the boot environment; None where it is not set. Leaves `env_data` as it is."""
    return _call.variable_in(FW_SpiFlashEnvRead(), name)


sys.modules[__name__].__class__ = _call.LiveModule
'''

CALLS_HEAD = '''"""The types of zelboard.fw as a session has it. Written by generate.py from the headers."""
from typing import TYPE_CHECKING, Any, List, Optional, Protocol, Tuple, Type, TypeVar
from zelboard import _call, fw
from zelboard._call import Buffer, File, Text
from zelboard.fw import raw as _raw

if TYPE_CHECKING:
    from zelboard.program import Program

Self = TypeVar("Self")


class Calls(Protocol):
    """The functions, variables and constants of zelboard.fw, as a process on a board has them. `timeout`: seconds that a
    call may take, with the wait for another thread's call. Without it the session's timeout counts."""
    def __enter__(self: Self) -> Self: ...
    def __exit__(self, *details: object) -> None: ...
    def close(self) -> None: ...
    @property
    def process(self) -> "Program": ...
    @property
    def raw(self) -> Any: ...
    def get_env(self, name: str) -> Optional[str]: ...
'''


RAW = "_raw."  # before a record's name in the types of a session, where the name itself is a property


def enumeration(names: str, prefix: str, constants: Dict[str, int]) -> str:
    rows = {name[len(prefix):]: value for name, value in constants.items() if name.startswith(prefix)}
    members = "".join(f"    {name} = {value}\n" for name, value in rows.items())
    return f'\n\nclass {names}(enum.IntEnum):\n    """{prefix}... by their names."""\n{members}'


def calls_text(constants: Dict[str, int], records: Dict[str, str], variables: Dict[str, Type],
               methods: Dict[str, Function]) -> str:
    text = CALLS_HEAD
    kinds = {**dict.fromkeys(records, "_raw"), **dict.fromkeys(NAMED, "fw")}
    kinds.update(dict.fromkeys(("Absent", "Busy", "Error", "Failed", "NotSfp", "Refused"), "_call"))
    for name, module in kinds.items():
        text += f"    @property\n    def {name}(self) -> Type[{module}.{name}]: ...\n"
    for name in constants:
        text += f"    @property\n    def {name}(self) -> int: ...\n"
    for name, of in variables.items():
        if of.size:
            kind = f"List[{of.element(RAW)}]"
        elif of.stars:
            kind = "Optional[int]"
        else:
            kind = of.python(RAW)
        text += f"    {name}: {kind}\n"
    return text + "".join(method.method() for method in methods.values())


def main(compiler: str, include: str, soname: str, output: str) -> None:
    headers = sorted(Path(include, "zelboard").glob("*.h"))
    docs = read_docs(headers)
    macro = re.compile(r"^#define (\w+) (0[xX][0-9a-fA-F]+|\d+)u?\b", re.M)
    constants = {name: int(value, 0) for header in headers for name, value in macro.findall(header.read_text("utf-8"))}
    records: Dict[str, str] = {}
    variables: Dict[str, Type] = {}
    functions: Dict[str, Function] = {}
    methods: Dict[str, Function] = {}
    for node in parse(compiler, headers, include):
        kind = node.type
        name = node.name or getattr(kind, "name", "")
        if isinstance(kind, c_ast.Enum):
            constants.update({row.name: int(row.value.value, 0) for row in kind.values.enumerators})
        elif name not in docs:
            fail(f"{name}: has no doc block")
        elif isinstance(kind, c_ast.Struct):
            records[name] = record(name, {field.name: type_of(field) for field in kind.decls}, docs[name])
        elif isinstance(kind, c_ast.FuncDecl):
            functions[name] = Function(name, kind, docs[name], constants)
            methods[name] = Function(name, kind, docs[name], constants, RAW)
        else:
            variables[name] = type_of(node)

    raw = RAW_HEAD.replace("@SONAME@", soname) + "".join(records.values()) + "\n\n"
    raw += "".join(f"{name} = {hex(value) if value > 255 else value}\n" for name, value in constants.items())
    for name, of in variables.items():
        raw += f'{name} = ({"c_void_p" if of.stars else of.ctypes()}).in_dll(library, "{name}")\n'
    raw += "".join(function.bound() for function in functions.values())
    tables = [name for name, of in variables.items() if of.size]
    lists = {"TABLES": tables, "VARIABLES": [name for name in variables if name not in tables],
             "EXPORTS": [*variables, *functions], "__all__": [*records, *constants]}
    raw += "".join(f"{name} = {names}\n" for name, names in lists.items())

    fw = FW_HEAD + "".join(enumeration(names, prefix, constants) for names, (prefix, _) in NAMED.items())
    for name, of in variables.items():
        fw += f"{name}: {'Optional[int]' if of.stars else of.python()}" + (f" = _raw.{name}\n" if of.size else "\n")
        fw += documented("", docs[name].text, [])
    fw += "".join(function.write() for function in functions.values())
    Path(output).mkdir(parents=True, exist_ok=True)
    Path(output, "raw.py").write_text(raw, encoding="utf-8")
    Path(output, "__init__.py").write_text(fw + FW_TAIL, encoding="utf-8")
    Path(output, "calls.py").write_text(calls_text(constants, records, variables, methods), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
