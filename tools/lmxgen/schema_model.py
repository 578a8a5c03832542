"""Reads a schema model (YAML) and resolves it into classes, members and simple types."""

import re
from dataclasses import dataclass, field

import yaml

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
UNBOUNDED = None


class ModelError(Exception):
    """The model is wrong; the text names the entry."""


@dataclass
class SimpleType:
    name: str
    base: str
    pattern: str | None = None
    values: str | None = None  # name of a value set
    low: str | None = None
    high: str | None = None
    low_included: bool = True
    length: tuple | None = None
    items: tuple | None = None  # of a list

    @property
    def cpp(self):
        return BASES[self.base][0]

    @property
    def collapse(self):
        return BASES[self.base][1]


@dataclass
class Member:
    name: str
    kind: str  # attribute, text, element or choice
    occurs: tuple
    simple: SimpleType | None = None
    child: "Class | None" = None
    fixed: str | None = None
    edition: int | None = None
    optional: bool = False
    in_choice: bool = False

    @property
    def is_repeated(self):
        return self.occurs[1] is UNBOUNDED or self.occurs[1] > 1

    @property
    def is_list(self):
        return self.is_repeated or (self.simple is not None and self.simple.items is not None)

    @property
    def is_enumerated(self):
        return not self.is_list and self.simple is not None and self.simple.values is not None

    @property
    def cpp(self):
        return self.simple.cpp if self.simple else self.child.qualified

    @property
    def storage(self):
        if self.child:
            return "lmx::child_list" if self.is_repeated else "lmx::child_ptr"
        return f"std::vector<{self.cpp}>" if self.is_list else self.cpp

    @property
    def parameter(self):
        """How a value is handed in."""
        by_reference = self.cpp.startswith(("std::string", "lmx::"))
        return f"const {self.cpp}&" if by_reference else self.cpp

    @property
    def result(self):
        """How a value is handed out."""
        return f"const {self.cpp}&" if self.parameter.startswith("const") else self.cpp


@dataclass
class Class:
    name: str  # of the type in the schema
    outer: "Class | None" = None
    is_choice: bool = False
    members: list = field(default_factory=list)
    nested: list = field(default_factory=list)

    @property
    def cpp(self):
        return "c_" + self.name

    @property
    def qualified(self):
        return f"{self.outer.qualified}::{self.cpp}" if self.outer else self.cpp


def bounds(text, where):
    found = re.fullmatch(r"(\d+)\.\.(\d+|\*)", str(text))
    if not found:
        raise ModelError(f"{where}: '{text}' is no range like 0..4 or 1..*")
    low, high = found.groups()
    return int(low), UNBOUNDED if high == "*" else int(high)


class Model:
    """All that the templates ask for. Entries are resolved in the order of the file."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            raw = yaml.safe_load(file)
        self.namespace = raw["namespace"]
        self.uri = raw["uri"]
        self.prefix = raw["prefix"]
        self.without_namespace = raw["without_namespace"]
        self.sets = raw.get("sets", {})
        self.patterns = raw.get("patterns", {})
        self.reserved_codes = raw.get("reserved_codes", {})
        self._raw_types = raw.get("types", {})
        self._raw_classes = raw["classes"]
        self.types = {}
        self._classes = {name: Class(name) for name in self._raw_classes}
        for name, entries in self._raw_classes.items():
            self._fill(self._classes[name], entries)
        self.classes = list(self._classes.values())
        if raw["root"] not in self._classes:
            raise ModelError(f"root: there is no class '{raw['root']}'")
        self.root = self._classes[raw["root"]]

    def all_classes(self):
        """Every class, nested ones before the one that holds them."""
        for each in self.classes:
            yield from each.nested
            yield each

    def enumerators(self):
        """(name, code, text) of all values in the order of their codes; a code may serve two sets."""
        found = {}
        for values in [*self.sets.values(), self.reserved_codes]:
            for text, code in values.items():
                if found.setdefault(code, text) != text:
                    raise ModelError(f"code {code} stands for '{found[code]}' and '{text}'")
        names = [("e_" + re.sub(r"\W", "_", text), code, text) for code, text in found.items()]
        if len({name for name, _, _ in names}) != len(names):
            raise ModelError("two values have texts too alike to name them")
        return sorted(names, key=lambda each: each[1])

    def _type(self, name, where):
        """The simple type of a name: given in the model, a value set, or a base."""
        if name in self.types:
            return self.types[name]
        if name in self._raw_types:
            made = self._declared_type(name, self._raw_types[name])
        elif name in self.sets:
            made = SimpleType(name, "string", values=name)
        elif name in BASES:
            made = SimpleType(name, name)
        else:
            raise ModelError(f"{where}: there is no type '{name}'")
        self.types[name] = made
        return made

    def _declared_type(self, name, raw):
        where = f"types: {name}"
        unknown = raw.keys() - {"base", "list", "items", "length", "pattern", "range", "above", "set"}
        if unknown:
            raise ModelError(f"{where}: unknown key '{min(unknown)}'")
        if "list" in raw:
            each = self._type(raw["list"], where)
            return SimpleType(**{**vars(each), "name": name, "items": bounds(raw["items"], where)})
        if raw["base"] not in BASES:
            raise ModelError(f"{where}: there is no base '{raw['base']}'")
        made = SimpleType(name, raw["base"], raw.get("pattern"), raw.get("set"))
        if made.pattern is not None and made.pattern not in self.patterns:
            raise ModelError(f"{where}: there is no pattern '{made.pattern}'")
        if made.values is not None and made.values not in self.sets:
            raise ModelError(f"{where}: there is no set '{made.values}'")
        if "length" in raw:
            made.length = bounds(raw["length"], where)
        if "range" in raw:
            made.low, made.high = str(raw["range"]).split("..")
            made.low_included = "above" not in raw
        return made

    def _fill(self, owner, entries):
        for name, raw in entries.items():
            owner.members += self._members(owner, name, raw)
        if len(owner.members) > 64:
            raise ModelError(f"{owner.name}: more than 64 members")

    def _members(self, owner, name, raw):
        where = f"{owner.name}: {name}"
        raw = dict(raw) if isinstance(raw, dict) else {"type": raw}
        if name == "units":
            return [self._fixed(raw["type"])]
        kind = "attribute" if name.startswith("@") else "choice" if "choice" in raw else "element"
        occurs = bounds(raw.pop("occurs", "1..1"), where)
        member = Member(name.lstrip("@"), kind, occurs, edition=raw.pop("edition", None))
        member.optional = occurs == (0, 1)
        if kind == "choice":
            member.child = self._choice(owner, name, raw.pop("choice"), where)
        else:
            type_name = raw.pop("type", None)
            class_name = raw.pop("class", name)
            attributes = {key: raw.pop(key) for key in list(raw) if key[0] == "@" or key == "units"}
            if type_name in self._classes:
                member.child = self._classes[type_name]
            elif attributes:
                member.child = self._value_class(owner, class_name, member, type_name, attributes)
            else:
                member.simple = self._type(type_name, where)
        if raw:
            raise ModelError(f"{where}: unknown key '{min(raw)}'")
        return [member]

    def _fixed(self, text):
        return Member("units", "attribute", (1, 1), self._type("string", "units"), fixed=text)

    def _value_class(self, owner, name, element, type_name, attributes):
        """The nested class of an element that has a value and attributes."""
        made = Class(name, owner)
        owner.nested.append(made)
        value = Member(element.name, "text", (1, 1), self._type(type_name, f"{owner.name}: {name}"))
        # The value of an element that need not be there can be asked for and taken away.
        value.optional = element.occurs[0] == 0 and element.edition is None
        made.members.append(value)
        self._fill(made, attributes)
        return made

    def _choice(self, owner, name, alternatives, where):
        made = Class(name, owner, is_choice=True)
        owner.nested.append(made)
        for element, type_name in alternatives.items():
            if type_name not in self._classes:
                raise ModelError(f"{where}: there is no class '{type_name}'")
            made.members.append(Member(element, "element", (0, 1), child=self._classes[type_name],
                                       in_choice=True))
        return made
