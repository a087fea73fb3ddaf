#!/usr/bin/env python3
"""Writes zelboard.fw from the public headers: generate.py COMPILER INCLUDE SONAME OUTPUT

OUTPUT/raw.py has the C interface as ctypes sees it, OUTPUT/__init__.py what Python programs call, and OUTPUT/calls.py the
types of a session. A declaration that cannot be bound, or whose doc block does not say what a pointer is for, ends the
run with a line that names it.
"""
import re
import subprocess
import sys
import tempfile
import textwrap
from pathlib import Path
from typing import Any, Dict, List, NamedTuple, NoReturn, Optional, Tuple

from pycparser import c_ast, c_parser  # type: ignore[import]

RANGES = {"c_uint8": "0, 0xFF", "c_uint16": "0, 0xFFFF", "c_uint32": "0, 0xFFFFFFFF", "c_int32": "-1 << 31, (1 << 31) - 1"}
TYPES = {"int": "c_int", "float": "c_float", "char": "c_char", "void": "c_void_p",
         **{kind[2:] + "_t": kind for kind in RANGES}}
STDINT = "typedef unsigned char uint8_t; typedef unsigned short uint16_t; typedef unsigned uint32_t; typedef int int32_t;"

# Functions that return data, and which values are data: any other is a status. All others return a status, 0 = success.
ANY = "range(1 << 32)"
FLAG = "range(2)"
BYTE = "range(256)"
ADDRESS = "range(0xFFFFFFFF)"
DATA = {
    "CheckSpecialReg": ANY, "FW_GetDiagNoOperationFlag": ANY, "FW_GetSystemDiagFlag": FLAG, "FW_GetFlashAccessFlag": BYTE,
    "IsSwitchPortExist": ANY, "s35390A_to_time": ANY, "time_to_s35390A": ANY, "FW_SFP_SGMII_Support": FLAG,
    "FW_SFP_PHY_Fail_Chk": FLAG, "FW_SpiFlash_GetMapAddr": ADDRESS, "FW_SpiFlash_GetMapLen": ADDRESS,
    "FW_SpiFlash_GetSectorSize": ADDRESS, "FW_crc32": ANY, "FW_crc321": ANY, "dbChecksum": ANY, "check_env_crc": ANY,
    "FW_Wdt_Flag": ANY, "FW_Pwr_Flag": ANY,
}
# Functions in which status 1 says that debugCmd was run: a success, without a value.
RUN_BY_COMMAND = {"FW_GetSpecialRegister", "FW_SetPhyRegister", "FW_ShowPhyRegister"}
# Numbers that have names: by the prefix of their constants, and the functions that return them.
NAMED = {"Led": ("FW_LED_", re.compile(r"FW_Get\w+Led")), "PowerMode": ("FW_POWER_", re.compile("FW_GetPowerMode|FW_Pwr_Flag"))}
# Records that have methods, and the class that has them.
RECORDS = {"rtc_record": "ClockRecord"}
LENGTHS = {"len", "length"}  # parameters that count the bytes of the function's buffer
BUFFERS = {"buf", "buffer", "data", "id", "mac", "phy_id"}  # names that a single value does not have


def fail(text: str) -> NoReturn:
    sys.exit(f"generate.py: {text}")


Doc = NamedTuple("Doc", [("text", str), ("parameters", Dict[str, str]), ("result", str)])


def read_block(block: str) -> Doc:
    lines = [re.sub(r"^\s*\*? ?", "", line).strip() for line in block.strip().splitlines()]
    text = re.sub(r"(?<!\n)\n(?!\n)", " ", "\n".join(lines))
    first, *pieces = re.split(r"\s*@(param|return)\s+", text)
    parameters: Dict[str, str] = {}
    result = ""
    for kind, piece in zip(pieces[::2], pieces[1::2]):
        if kind == "return":
            result = piece.strip()
            continue
        name, _, about = piece.partition(" ")
        parameters[name] = about.strip()
    return Doc(first.strip(), parameters, result)


def read_docs(headers: List[Path]) -> Dict[str, Doc]:
    """The doc block of each declaration, with what it takes over from another's."""
    docs: Dict[str, Doc] = {}
    for text in (header.read_text(encoding="utf-8") for header in headers):
        for block, name in re.findall(r"/\*\*(?!<)((?:(?!\*/).)*)\*/\s*(?:(?:ZEL_API|extern|struct)\b[^;{(]*?)"
                                      r"(\w+)\s*(?:\[\w+\])?[;{(]", text, re.S):
            docs[name] = read_block(block)
        for name, block in re.findall(r"(\w+)(?:\[\w+\])?;\s*/\*\*<((?:(?!\*/).)*)\*/", text, re.S):
            docs.setdefault(name, read_block(block))
    for name, doc in docs.items():
        source = re.search(r"\s*@copy(doc|details) (\w+)", doc.text + doc.result + " ".join(doc.parameters.values()))
        if source:
            other = docs.get(source[2])
            if other is None:
                fail(f"{name}: copies from {source[2]}, which has no doc block")
            text = other.text if source[1] == "doc" else doc.text.replace(source[0], "")
            docs[name] = other._replace(text=text)
    return docs


def parse(compiler: str, headers: List[Path], include: str) -> List[Any]:
    with tempfile.TemporaryDirectory() as folder:
        Path(folder, "stdint.h").write_text(STDINT)
        source = Path(folder, "all.c")
        source.write_text("".join(f"#include <zelboard/{header.name}>\n" for header in headers))
        command = [compiler, "-E", "-std=c11", "-nostdinc", "-D__attribute__(x)=", f"-I{folder}", f"-I{include}", str(source)]
        text = subprocess.run(command, check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout
    # A typedef is of the same name as its struct.
    return [node for node in c_parser.CParser().parse(text).ext
            if "zelboard/" in str(node.coord) and not isinstance(node, (c_ast.Typedef, c_ast.Pragma))]


class Type(NamedTuple):
    """`base` is the ctypes name, `stars` counts pointers, `size` is an array's length, 0 without one."""
    base: str
    stars: int = 0
    const: bool = False
    size: int = 0

    def ctypes(self) -> str:
        if self.stars and self.base == "c_void_p":
            return "c_void_p"
        if self.stars and self.const and self.base == "c_char":
            return "c_char_p"
        text = "POINTER(" * self.stars + self.base + ")" * self.stars
        return f"{text} * {self.size}" if self.size else text

    def element(self) -> str:
        """Of an array: as Python has it in a list."""
        return self._replace(size=0).python()

    def python(self) -> str:
        if self.size and self.base != "c_char":
            return f'"Array[{self.base}]"'
        plain = dict.fromkeys(RANGES, "int")
        return {**plain, "c_float": "float", "c_char": "bytes"}.get(self.base, self.base)


def type_of(node: Any) -> Type:
    if isinstance(node, c_ast.IdentifierType):
        return Type(TYPES.get(node.names[-1], node.names[-1]))
    if isinstance(node, c_ast.Struct):
        return Type(node.name)
    inner = type_of(node.type)
    if isinstance(node, c_ast.PtrDecl):
        return inner._replace(stars=inner.stars + 1)
    if isinstance(node, c_ast.ArrayDecl):
        return inner._replace(size=int(node.dim.value.rstrip("u"), 0))
    return inner._replace(const="const" in node.quals)


def documented(indent: str, about: str, lines: List[str]) -> str:
    text: List[str] = []
    for paragraph in about.split("\n"):
        if paragraph:
            text += [*textwrap.wrap(paragraph, 100), ""]
    for line in lines:
        text += textwrap.wrap(line, 100, subsequent_indent="    ")
    body = "\n".join(text).strip().replace("\\", "\\\\")
    if "\n" in body or body.endswith('"'):
        body += "\n"
    return textwrap.indent(f'"""{body}"""\n', indent)


def record(name: str, fields: Dict[str, Type], doc: Doc) -> str:
    shown = "".join(f"    {field}: {of.python()}\n" for field, of in fields.items())
    rows = ", ".join(f'("{field}", {of.ctypes()})' for field, of in fields.items())
    base = RECORDS.get(name, "Record")
    return f"\n\nclass {name}(_call.{base}):\n{documented('    ', doc.text, [])}{shown}    _fields_ = [{rows}]\n"


Returned = Tuple[str, str, str]  # name, type and expression of a value that Python returns


class Function:
    """One function: what Python gives, what is handed to C, what comes back."""

    def __init__(self, name: str, kind: Any, doc: Doc, constants: Dict[str, int]):
        self.name = name
        self.doc = doc
        self.constants = constants
        self.result = type_of(kind.type)
        self.types: Dict[str, Type] = {}
        self.signature: Dict[str, str] = {}
        self.handed: List[str] = []
        self.before: List[str] = []
        self.returned: List[Returned] = []
        if kind.args:
            self.types = {node.name: type_of(node.type) for node in kind.args.params if node.name}
        else:
            self.signature["*arguments"] = "int"
            self.handed.append("*arguments")
        self.length = next(iter(LENGTHS & self.types.keys()), "")
        for parameter, of in self.types.items():
            if not doc.parameters.get(parameter):
                fail(f"{name}: its doc block has no @param {parameter}")
            self.add(parameter, of, doc.parameters[parameter])

    def add(self, name: str, of: Type, about: str) -> None:
        if of.stars == 0:
            self.add_number(name, of)
        elif of.stars == 2:
            self.add_taken(name, of, about)
        elif of.const:
            self.add_given(name, of, about)
        else:
            self.add_out(name, of, about)

    def number(self, name: str, value: str = "") -> str:
        kind = self.types[name].base
        if kind not in RANGES:
            fail(f"{self.name}: {name} is a {kind}")
        return f'_call.number("{name}", {value or name}, {RANGES[kind]})'

    def add_number(self, name: str, of: Type) -> None:
        given = next((other for other, kind in self.types.items() if kind.const and kind.stars), "")
        if of.base == "c_int":
            self.signature[name] = "File"
            self.handed.append(f"{name}_")
        elif name == self.length and given:
            self.handed.append(self.number(name, f"len({given}_ or ())"))
        else:
            self.signature[name] = "int"
            self.handed.append(self.number(name))

    def size(self, name: str, of: Type, about: str) -> str:
        """How many bytes a buffer has, as the doc block or another parameter tells; empty for a single value."""
        told = re.search(r"(0x[0-9a-fA-F]+|\d+|[A-Z]\w+|\*\w+) bytes", about)
        if told and (told[1][0] in "*0123456789" or told[1] in self.constants):
            return told[1]
        if self.length and of.base in ("c_void_p", "c_uint8"):
            return self.length
        if of.base in ("c_void_p", "c_char") or of.stars > 1 or name in BUFFERS:
            fail(f"{self.name}: the doc block does not tell how many bytes {name} has")
        return ""

    def add_given(self, name: str, of: Type, about: str) -> None:
        size = "" if of.base == "c_char" else self.size(name, of, about)
        if of.base == "c_char":
            kind = "Text"
            made = f'_call.text("{name}", {name})'
        elif size:
            kind = "Buffer"
            counted = "" if size == self.length else f", {size}"
            made = f'_call.buffer("{name}", {name}{counted})'
        else:
            kind = "int"
            made = f"byref({of.base}({self.number(name)}))"
        null = "null" in about and not self.length
        self.signature[name] = f"Optional[{kind}]" if null else kind
        self.before.append(f"{name}_ = {made}")
        self.handed.append(f"{name}_")

    def add_out(self, name: str, of: Type, about: str) -> None:
        given = about.startswith("in")
        if not re.match(r"in\b|out\b", about):
            fail(f"{self.name}: the doc block does not say out: or in/out: of {name}")
        if given:
            is_last = name == list(self.types)[-1]
            default = " = 0" if is_last and of.base in RANGES else ""
            self.signature[name] = of.python() + default
        if of.base not in TYPES.values():
            self.before.append(f"{name}_ = _raw.{of.base}" + (f".from_buffer_copy({name})" if given else "()"))
            self.returned.append((name, of.base, f"{name}_"))
        elif self.size(name, of, about):
            size = self.size(name, of, about)
            count = f"max(0, {self.number(size)})" if size == self.length else size
            if of.base == "c_char":
                self.before.append(f"{name}_ = (c_char * {count})()")
                self.returned.append((name, "str", f"fsdecode({name}_.value)"))
            else:
                self.before.append(f"{name}_ = (c_uint8 * {count})()")
                self.returned.append((name, "bytes", f"bytes({name}_)"))
        else:
            self.before.append(f"{name}_ = {of.base}({self.number(name) if given else ''})")
            is_length = any(f"{name}_.value" in value for _, _, value in self.returned)  # of a buffer that is returned
            if not is_length:
                self.returned.append((name, "int", f"{name}_.value"))
        self.handed.append(f"{name}_" if self.before[-1].endswith(")()") else f"byref({name}_)")

    def add_taken(self, name: str, of: Type, about: str) -> None:
        """A buffer that the library allocates."""
        size = self.size(name, of, about)
        if size[0] == "*":  # an out-parameter tells
            size = f"{size[1:]}_.value"
        self.before.append(f"{name}_ = POINTER({of.base})()")
        self.handed.append(f"byref({name}_)")
        self.returned.append((name, "bytes", f"_call.taken({name}_, {size})"))

    def bound(self) -> str:
        """How ctypes gets to know it."""
        result = "None" if self.result == Type("c_void_p") else self.result.ctypes()
        types = ", ".join(of.ctypes() for of in self.types.values())
        known = "" if "*arguments" in self.signature else f"{self.name}.argtypes = [{types}]\n"
        return f"{self.name} = library.{self.name}\n{known}{self.name}.restype = {result}\n"

    def returned_values(self) -> List[Returned]:
        """What Python returns: what the function returns, if that is data, and then the out-parameters."""
        if self.result.stars:  # a constant text
            values = [("text", "str", "result_"), *self.returned]
        elif self.result.base == "c_int32":  # a count of bytes
            values = [(name, kind, f"{value}[:result_]") for name, kind, value in self.returned]
        elif self.name in DATA:
            values = [("result", "int", "result_"), *self.returned]
        elif re.search(r"\b0\b|result|FW_FAIL|^as FW_|^$", self.doc.result):
            values = self.returned
        else:
            fail(f"{self.name}: is what it returns a status? Data must stand in the table DATA")
        for names, (_, functions) in NAMED.items():
            if functions.fullmatch(self.name):
                values = [(name, kind, f"_call.named({names}, {value})") for name, kind, value in values]
        return values

    def result_type(self) -> str:
        kinds = [kind for _, kind, _ in self.returned_values()]
        if not kinds:
            return "None"
        text = kinds[0] if len(kinds) == 1 else f"Tuple[{', '.join(kinds)}]"
        return f"Optional[{text}]" if self.name in RUN_BY_COMMAND else text

    def call(self) -> str:
        """The call of the C function. A status that is no success raises an error."""
        call = f"_raw.{self.name}({', '.join(self.handed)})"
        if self.result.stars:
            return f"{call}.decode()"
        if self.result.base not in RANGES:
            return call
        if self.result.base == "c_int32":
            good = ", range(1 << 31)"
        elif self.name in RUN_BY_COMMAND:
            good = f", {FLAG}"
        elif self.name in DATA:
            good = f", {DATA[self.name]}"
        else:
            good = ""  # 0
        return f'_call.checked(_ERRORS, "{self.name}", {call}{good})'

    def code(self) -> List[str]:
        """The lines of the Python function."""
        returned = self.returned_values()
        may_have_no_value = self.name in RUN_BY_COMMAND and bool(returned)
        needs_result = may_have_no_value or returned != self.returned
        code = [*self.before, f"result_ = {self.call()}" if needs_result else self.call()]
        if may_have_no_value:
            code += ["if result_ == 1:", "    return None"]
        files = [name for name, kind in self.signature.items() if kind == "File"]
        for name in files:
            code = [f"with _call.descriptor({name}) as {name}_:", *(f"    {line}" for line in code)]
        if returned:
            code.append("return " + ", ".join(value for _, _, value in returned))
        return code

    def method(self) -> str:
        """As a session has it."""
        given = ["self", *(f"{name}: {kind}" for name, kind in self.signature.items())]
        timeout = "timeout: Optional[float] = None"
        given += [timeout] if "*arguments" in self.signature else ["*", timeout]
        return f"    def {self.name}({', '.join(given)}) -> {self.result_type()}: ...\n"

    def write(self) -> str:
        about = {name: re.sub(r"^out[:,] ?", "", text) for name, text in self.doc.parameters.items()}
        lines = [f"{name}: {about[name]}" for name in self.signature if name in about]
        lines += [f"Returns {name}: {about[name]}" for name, _, _ in self.returned]
        given = ", ".join(f"{name}: {kind}" for name, kind in self.signature.items())
        text = documented("    ", self.doc.text, [*lines, f"C returns: {self.doc.result}"])
        code = "".join(f"    {line}\n" for line in self.code())
        return f"\n\ndef {self.name}({given}) -> {self.result_type()}:\n{text}{code}"


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


def enumeration(names: str, prefix: str, constants: Dict[str, int]) -> str:
    rows = {name[len(prefix):]: value for name, value in constants.items() if name.startswith(prefix)}
    members = "".join(f"    {name} = {value}\n" for name, value in rows.items())
    return f'\n\nclass {names}(enum.IntEnum):\n    """{prefix}... by their names."""\n{members}'


def calls_text(constants: Dict[str, int], records: Dict[str, str], variables: Dict[str, Type],
               functions: Dict[str, Function]) -> str:
    text = CALLS_HEAD
    kinds = {**dict.fromkeys(records, "_raw"), **dict.fromkeys(NAMED, "fw")}
    kinds.update(dict.fromkeys(("Absent", "Busy", "Error", "Failed", "NotSfp", "Refused"), "_call"))
    for name, module in kinds.items():
        text += f"    @property\n    def {name}(self) -> Type[{module}.{name}]: ...\n"
    for name in constants:
        text += f"    @property\n    def {name}(self) -> int: ...\n"
    for name, of in variables.items():
        if of.size:
            kind = f"List[{of.element()}]"
        elif of.stars:
            kind = "Optional[int]"
        else:
            kind = of.python()
        text += f"    {name}: {kind}\n"
    text += "".join(function.method() for function in functions.values())
    # In the class the records' names are properties.
    return re.sub(rf"(?<=[\[ ])({'|'.join(records)})(?=[],:)]|\n)", r"_raw.\1", text)


def main(compiler: str, include: str, soname: str, output: str) -> None:
    headers = sorted(Path(include, "zelboard").glob("*.h"))
    docs = read_docs(headers)
    macro = re.compile(r"^#define (\w+) (0[xX][0-9a-fA-F]+|\d+)u?\b", re.M)
    constants = {name: int(value, 0) for header in headers for name, value in macro.findall(header.read_text("utf-8"))}
    records: Dict[str, str] = {}
    variables: Dict[str, Type] = {}
    functions: Dict[str, Function] = {}
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
    Path(output, "calls.py").write_text(calls_text(constants, records, variables, functions), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
