"""The public headers as generate.py reads them: declarations with their types, and the doc block of each."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Any, Dict, List, NamedTuple, NoReturn

from pycparser import c_ast, c_parser  # type: ignore[import]

RANGES = {"c_uint8": "0, 0xFF", "c_uint16": "0, 0xFFFF", "c_uint32": "0, 0xFFFFFFFF", "c_int32": "-1 << 31, (1 << 31) - 1"}
TYPES = {"int": "c_int", "float": "c_float", "char": "c_char", "void": "c_void_p",
         **{kind[2:] + "_t": kind for kind in RANGES}}
STDINT = "typedef unsigned char uint8_t; typedef unsigned short uint16_t; typedef unsigned uint32_t; typedef int int32_t;"


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
    """The doc block of each declaration. What a block copies from another one (@copydoc, @copydetails) is in it."""
    docs: Dict[str, Doc] = {}
    for text in (header.read_text(encoding="utf-8") for header in headers):
        # A block before a declaration, then one behind it: /**< text */
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
    # Each typedef names a struct of the same name: the struct is enough.
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

    def element(self, records: str = "") -> str:
        """The Python type of an array's elements in a list."""
        return self._replace(size=0).python(records)

    def python(self, records: str = "") -> str:
        """The Python type. `records`, as "_raw.", stands before a record's name."""
        if self.size and self.base != "c_char":
            return f'"Array[{self.base}]"'
        plain = dict.fromkeys(RANGES, "int")
        return {**plain, "c_float": "float", "c_char": "bytes"}.get(self.base, records + self.base)


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
