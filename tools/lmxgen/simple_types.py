# SPDX-License-Identifier: MIT
"""The simple types of a model: what a text must be to be a value. What the runtime does not check is
refused here."""

import re
from dataclasses import dataclass

from model_file import ModelError

BASES = {  # base: (C++ type, does white space collapse)
    "string": ("std::string", False),
    "token": ("std::string", True),
    "anyURI": ("std::string", True),
    "boolean": ("bool", True),
    "double": ("double", True),
    "time": ("lmx::c_datetime", True),
    "integer": ("lmx::c_big_int", True),
    "uint8": ("std::uint8_t", True),
    "uint16": ("std::uint16_t", True),
    "uint32": ("std::uint32_t", True),
    "uint64": ("std::uint64_t", True),
}
TEXTS = ("string", "token", "anyURI")
WHOLE = ("integer", "uint8", "uint16", "uint32", "uint64")
FACETS = {  # facet: the bases that honour it
    "pattern": (*TEXTS, "time"),
    "length": TEXTS,
    "set": (*TEXTS, "integer"),
    "range": ("double", *WHOLE),
    "above": ("double", *WHOLE),
    "below": ("double", *WHOLE),
}
NUMBER = r"[+-]?(?:\d+(?:\.\d*)?|\.\d+)(?:[eE][+-]?\d+)?"


def identifier(name):
    return re.sub(r"\W", "_", name, flags=re.A)


def bounds(text, where, line):
    found = re.fullmatch(r"(\d+)\.\.(\d+|\*)", str(text))
    if not found:
        raise ModelError(f"{where}: '{text}' is no range like 0..4 or 1..*", line)
    low, high = int(found[1]), None if found[2] == "*" else int(found[2])
    if high is not None and low > high:
        raise ModelError(f"{where}: {low} is more than {high}", line)
    return low, high


@dataclass
class SimpleType:
    name: str
    base: str
    pattern: str | None = None
    values: str | None = None  # name of a value set
    low: float | None = None
    high: float | None = None
    low_included: bool = True
    high_included: bool = True
    length: tuple | None = None
    items: tuple | None = None  # of a list

    @property
    def cpp(self):
        return BASES[self.base][0]

    @property
    def collapse(self):
        return BASES[self.base][1]


def check_pattern(name, text, line):
    """Refuses what the schema language and the matcher do not read alike."""

    def refuse(what):
        raise ModelError(f"patterns: {name}: {what}", line)

    if not isinstance(text, str):
        refuse("a pattern is a text; write it in quotes")
    try:
        re.compile(text)
    except re.error as error:
        refuse(f"no regular expression: {error}")
    bare = re.sub(r"\\[\\.\-+*?()\[\]{}|dDnrt^$/]", "x", text)  # what is escaped the same way everywhere
    if "\\" in bare:
        refuse(f"'{bare[bare.index(chr(92)):][:2]}' is not the same for all; write the characters")
    if re.search(r"\[[^\]]*-\[", bare) or "&&" in bare:
        refuse("character classes cannot be subtracted")
    outside = re.sub(r"\[\^?[^\]]*\]", "", bare)
    if "(?" in outside or re.search(r"[*+?}][+?]", outside):
        refuse("groups that begin with '(?' and lazy or possessive quantifiers are not known")
    if "^" in outside or "$" in outside:
        refuse("a pattern always matches the whole text; write \\^ and \\$ for the characters")


class SimpleTypes:
    def __init__(self, raw):
        self.sets, self.patterns = raw.entries("sets"), raw.entries("patterns")
        self._raw = raw.entries("types")
        self._making = []
        self.types = {}
        for group, entries in (("sets", self.sets), ("patterns", self.patterns), ("types", self._raw)):
            for name in entries:
                if not re.fullmatch(r"[A-Za-z_]\w*", name, re.A):
                    raise ModelError(f"{group}: '{name}' is no name: letters, digits and '_'",
                                     entries.line(name))
        for name in self._raw:
            if name in BASES or name in self.sets:
                raise ModelError(f"types: '{name}' is the name of a base or a set already",
                                 self._raw.line(name))
        for name in self.sets:
            if name in BASES:
                raise ModelError(f"sets: '{name}' is the name of a base", self.sets.line(name))
            if not self.sets.entries(name):
                raise ModelError(f"sets: {name}: a set without values", self.sets.line(name))
        for name, text in self.patterns.items():
            check_pattern(name, text, self.patterns.line(name))
        for name in self._raw:
            self.find(name, "types", self._raw.line(name))

    def find(self, name, where, line):
        """The simple type of a name: given in the model, a value set, or a base."""
        if name in self.types:
            return self.types[name]
        if name in self._making:
            raise ModelError(f"types: '{name}' is made of itself", self._raw.line(name))
        if name in self._raw:
            self._making.append(name)
            made = self._declared(name, self._raw.entries(name), f"types: {name}")
            self._making.pop()
        elif name in self.sets:
            made = SimpleType(name, "string", values=name)
        elif name in BASES:
            made = SimpleType(name, name)
        else:
            raise ModelError(f"{where}: there is no type '{name}'", line)
        self.types[name] = made
        return made

    def _declared(self, name, raw, where):
        if "list" in raw:
            raw.only(where, required=("list", "items"))
            each = self.find(raw.text("list"), where, raw.line("list"))
            if each.items is not None:
                raise ModelError(f"{where}: a list of lists", raw.line("list"))
            items = bounds(raw["items"], f"{where}: items", raw.line("items"))
            return SimpleType(**{**vars(each), "name": name, "items": items})
        raw.only(where, required=("base",), optional=tuple(FACETS))
        base = raw.text("base")
        if base not in BASES:
            raise ModelError(f"{where}: there is no base '{base}'", raw.line("base"))
        for facet, honoured_by in FACETS.items():
            if facet in raw and base not in honoured_by:
                raise ModelError(f"{where}: '{facet}' is not checked for {base}; it is for "
                                 + ", ".join(honoured_by), raw.line(facet))
        made = SimpleType(name, base, raw.get("pattern"), raw.get("set"))
        if made.pattern is not None and made.pattern not in self.patterns:
            raise ModelError(f"{where}: there is no pattern '{made.pattern}'", raw.line("pattern"))
        if made.values is not None:
            self._check_set(made, raw, where)
        if "length" in raw:
            made.length = bounds(raw["length"], f"{where}: length", raw.line("length"))
        self._set_range(made, raw, where)
        return made

    def _check_set(self, made, raw, where):
        if made.values not in self.sets:
            raise ModelError(f"{where}: there is no set '{made.values}'", raw.line("set"))
        values, numbers = self.sets.entries(made.values), set()
        for text in values:
            if made.base == "integer":
                if not re.fullmatch(r"[+-]?\d+", text, re.A) or int(text) in numbers:
                    raise ModelError(f"{where}: '{text}' is no whole number, or stands twice",
                                     values.line(text))
                numbers.add(int(text))
            elif made.collapse and text != " ".join(text.split()):
                raise ModelError(f"{where}: '{text}' has blanks that a {made.base} cannot have",
                                 values.line(text))

    def _set_range(self, made, raw, where):
        def number(text, key):
            if text == "*":
                return None
            try:
                value = float(text) if re.fullmatch(NUMBER, str(text), re.A) else None
            except OverflowError:
                value = None
            if value is None or abs(value) == float("inf"):
                raise ModelError(f"{where}: {key}: '{text}' is no number", raw.line(key))
            if made.base in WHOLE and (value != int(value) or abs(value) >= 2**53):
                raise ModelError(f"{where}: {key}: '{text}' is no whole number below 2^53",
                                 raw.line(key))
            if made.base.startswith("uint") and not 0 <= value < 2 ** int(made.base[4:]):
                raise ModelError(f"{where}: {key}: {text} does not fit {made.base}", raw.line(key))
            return value

        if "range" in raw:
            found = re.fullmatch(rf"(\*|{NUMBER})\.\.(\*|{NUMBER})", str(raw["range"]), re.A)
            if not found:
                raise ModelError(f"{where}: '{raw['range']}' is no range like 0..1.5 or 0..*",
                                 raw.line("range"))
            made.low, made.high = number(found[1], "range"), number(found[2], "range")
        for key, end in (("above", "low"), ("below", "high")):
            if key not in raw:
                continue
            limit = number(raw[key], key)
            if getattr(made, end) not in (None, limit):
                raise ModelError(f"{where}: '{key}' and 'range' name different limits", raw.line(key))
            setattr(made, end, limit)
            setattr(made, end + "_included", False)
        if made.low is not None and made.high is not None and (
                made.low > made.high or
                (made.low == made.high and not (made.low_included and made.high_included))):
            raise ModelError(f"{where}: no number lies in this range", raw.line())
