"""One function of the library in Python: what Python gives, what is handed to C, what comes back."""
import re
import textwrap
from typing import Any, Dict, List, NamedTuple

from headers import RANGES, TYPES, Doc, Type, fail, type_of

# Functions that return data, with the values that are data: any other value is a status. All other functions return a status,
# 0 for success.
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
LENGTHS = {"len", "length"}  # parameters that count the bytes of the function's buffer
BUFFERS = {"buf", "buffer", "data", "id", "mac", "phy_id"}  # names of buffers: no single value has them


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


# A value that Python returns: its type, and the expression for it.
Returned = NamedTuple("Returned", [("name", str), ("kind", str), ("value", str)])


class Function:
    """A function of the library. `records`, as "_raw.", stands before the name of a record in a type.

    In the code that is written, NAME_ is what C takes and fills for the parameter NAME."""

    def __init__(self, name: str, kind: Any, doc: Doc, constants: Dict[str, int], records: str = ""):
        self.name = name
        self.records = records
        self.doc = doc
        self.constants = constants
        self.result = type_of(kind.type)
        self.types: Dict[str, Type] = {}
        self.signature: Dict[str, str] = {}
        self.handed: List[str] = []  # the arguments of the C function
        self.before: List[str] = []  # lines before its call
        self.returned: List[Returned] = []  # the out-parameters
        self.lengths: List[str] = []  # out-parameters that tell how many bytes a returned buffer has
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
        """How many bytes a buffer has, from the doc block or another parameter; empty for a single value."""
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
        if not re.match(r"in\b|out\b", about):
            fail(f"{self.name}: the doc block does not say out: or in/out: of {name}")
        given = about.startswith("in")  # in or in/out
        if given:
            is_last = name == list(self.types)[-1]
            default = " = 0" if is_last and of.base in RANGES else ""
            self.signature[name] = of.python(self.records) + default
        if of.base not in TYPES.values():
            self.add_record(name, of, given)
            return
        size = self.size(name, of, about)
        if size:
            self.add_array(name, of, size)
        else:
            self.add_value(name, of, given)

    def add_record(self, name: str, of: Type, given: bool) -> None:
        made = f"_raw.{of.base}.from_buffer_copy({name})" if given else f"_raw.{of.base}()"
        self.before.append(f"{name}_ = {made}")
        self.handed.append(f"byref({name}_)")
        self.returned.append(Returned(name, self.records + of.base, f"{name}_"))

    def add_array(self, name: str, of: Type, size: str) -> None:
        count = f"max(0, {self.number(size)})" if size == self.length else size
        self.handed.append(f"{name}_")
        if of.base == "c_char":
            self.before.append(f"{name}_ = (c_char * {count})()")
            self.returned.append(Returned(name, "str", f"fsdecode({name}_.value)"))
        else:
            self.before.append(f"{name}_ = (c_uint8 * {count})()")
            self.returned.append(Returned(name, "bytes", f"bytes({name}_)"))

    def add_value(self, name: str, of: Type, given: bool) -> None:
        self.before.append(f"{name}_ = {of.base}({self.number(name) if given else ''})")
        self.handed.append(f"byref({name}_)")
        if name not in self.lengths:
            self.returned.append(Returned(name, "int", f"{name}_.value"))

    def add_taken(self, name: str, of: Type, about: str) -> None:
        """A buffer that the library allocates."""
        size = self.size(name, of, about)
        if size[0] == "*":  # an out-parameter tells
            self.lengths.append(size[1:])
            size = f"{size[1:]}_.value"
        self.before.append(f"{name}_ = POINTER({of.base})()")
        self.handed.append(f"byref({name}_)")
        self.returned.append(Returned(name, "bytes", f"_call.taken({name}_, {size})"))

    def bound(self) -> str:
        """The lines that tell ctypes its types."""
        result = "None" if self.result == Type("c_void_p") else self.result.ctypes()
        types = ", ".join(of.ctypes() for of in self.types.values())
        known = "" if "*arguments" in self.signature else f"{self.name}.argtypes = [{types}]\n"
        return f"{self.name} = library.{self.name}\n{known}{self.name}.restype = {result}\n"

    def returned_values(self) -> List[Returned]:
        """What Python returns: the result of the C function, if that is data, and then the out-parameters."""
        if self.result.stars:  # a constant text
            values = [Returned("text", "str", "result_"), *self.returned]
        elif self.result.base == "c_int32":  # a count of bytes
            values = [one._replace(value=f"{one.value}[:result_]") for one in self.returned]
        elif self.name in DATA:
            values = [Returned("result", "int", "result_"), *self.returned]
        elif re.search(r"\b0\b|result|FW_FAIL|^as FW_|^$", self.doc.result):
            values = self.returned
        else:
            fail(f"{self.name}: is what it returns a status? Data must stand in the table DATA")
        for names, (_, functions) in NAMED.items():
            if functions.fullmatch(self.name):
                values = [one._replace(value=f"_call.named({names}, {one.value})") for one in values]
        return values

    def result_type(self) -> str:
        kinds = [one.kind for one in self.returned_values()]
        if not kinds:
            return "None"
        text = kinds[0] if len(kinds) == 1 else f"Tuple[{', '.join(kinds)}]"
        return f"Optional[{text}]" if self.name in RUN_BY_COMMAND else text

    def call(self) -> str:
        """The call of the C function, with a check that raises an error for a status that is no success."""
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
            code.append("return " + ", ".join(one.value for one in returned))
        return code

    def method(self) -> str:
        """Its declaration as a method of a session."""
        given = ["self", *(f"{name}: {kind}" for name, kind in self.signature.items())]
        timeout = "timeout: Optional[float] = None"
        given += [timeout] if "*arguments" in self.signature else ["*", timeout]
        return f"    def {self.name}({', '.join(given)}) -> {self.result_type()}: ...\n"

    def write(self) -> str:
        about = {name: re.sub(r"^out[:,] ?", "", text) for name, text in self.doc.parameters.items()}
        lines = [f"{name}: {about[name]}" for name in self.signature if name in about]
        lines += [f"Returns {one.name}: {about[one.name]}" for one in self.returned]
        given = ", ".join(f"{name}: {kind}" for name, kind in self.signature.items())
        text = documented("    ", self.doc.text, [*lines, f"C returns: {self.doc.result}"])
        code = "".join(f"    {line}\n" for line in self.code())
        return f"\n\ndef {self.name}({given}) -> {self.result_type()}:\n{text}{code}"
