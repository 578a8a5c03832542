# SPDX-License-Identifier: MIT
"""Reads a schema model (YAML) and resolves it into classes, members and simple types."""

import re
from dataclasses import dataclass, field

from model_file import Entries, ModelError, load
from simple_types import BASES, SimpleType, SimpleTypes, bounds, identifier

UNBOUNDED = None
KEYWORDS = set("""alignas alignof and and_eq asm auto bitand bitor bool break case catch char class
    co_await co_return co_yield compl concept const consteval constexpr constinit continue decltype
    default delete do double else enum explicit export extern false float for friend goto if inline
    int long mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected
    public register requires return short signed sizeof static struct switch template this throw
    true try typedef typeid typename union unsigned using virtual void volatile while xor xor_eq
    lmx std types""".split())


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
    def id(self):
        return identifier(self.name)

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
        return "c_" + identifier(self.name)

    @property
    def qualified(self):
        return f"{self.outer.qualified}::{self.cpp}" if self.outer else self.cpp


class Model:
    """All that the templates ask for. Entries are resolved in the order of the file."""

    def __init__(self, path):
        raw = load(path)
        raw.only("the model", required=("namespace", "uri", "prefix", "root", "without_namespace",
                                        "classes"),
                 optional=("sets", "patterns", "types", "reserved_codes"))
        for key in ("namespace", "uri", "prefix", "root"):
            raw.text(key)
        for key in ("classes", "sets", "patterns", "types", "reserved_codes"):
            raw.entries(key)
        if not isinstance(raw["without_namespace"], bool):
            raise ModelError("without_namespace is true or false", raw.line("without_namespace"))
        if not re.fullmatch(r"[A-Za-z_]\w*", raw["namespace"], re.A) or raw["namespace"] in KEYWORDS:
            raise ModelError(f"'{raw['namespace']}' is no name for a C++ namespace",
                             raw.line("namespace"))
        self.namespace, self.uri, self.prefix = raw["namespace"], raw["uri"], raw["prefix"]
        self.without_namespace = raw["without_namespace"]
        self._types = SimpleTypes(raw)
        self.sets, self.patterns = self._types.sets, self._types.patterns
        self.types = self._types.types
        self.reserved_codes = raw.get("reserved_codes", Entries())
        self._raw_classes = raw["classes"]
        for name in self._raw_classes:
            self._check_name(name, self._raw_classes.line(name))
            if name in self.types or name in self.sets or name in BASES:
                raise ModelError(f"'{name}' is a class and a type", self._raw_classes.line(name))
        self._classes = {name: Class(name) for name in self._raw_classes}
        self._distinct(self._classes.values(), lambda each: each.cpp, "two classes are named",
                       self._raw_classes.line())
        for name in self._raw_classes:
            entries = self._raw_classes.entries(name)
            if not entries:
                raise ModelError(f"{name}: a class without members", self._raw_classes.line(name))
            self._fill(self._classes[name], entries)
        self.classes = list(self._classes.values())
        if raw["root"] not in self._classes:
            raise ModelError(f"root: there is no class '{raw['root']}'", raw.line("root"))
        self.root = self._classes[raw["root"]]

    def all_classes(self):
        """Every class, nested ones before the one that holds them."""
        for each in self.classes:
            yield from each.nested
            yield each

    def enumerators(self):
        """(name, code, text) of all values in the order of their codes; a code may serve two sets."""
        found, names = {}, {"e_no_value": "no value at all"}
        for values in [*self.sets.values(), self.reserved_codes]:
            for text, code in values.items():
                line = values.line(text)
                if isinstance(code, bool) or not isinstance(code, int) or not 0 < code < 2**31:
                    raise ModelError(f"'{text}': {code} is no code; codes are whole numbers from 1",
                                     line)
                if found.setdefault(code, text) != text:
                    raise ModelError(f"code {code} stands for '{found[code]}' and '{text}'", line)
                name = "e_" + identifier(text)
                if names.setdefault(name, text) != text:
                    raise ModelError(f"'{names[name]}' and '{text}' are too alike to name them", line)
        return [("e_" + identifier(found[code]), code, found[code]) for code in sorted(found)]

    @staticmethod
    def _check_name(name, line):
        if not re.fullmatch(r"[^\W\d][\w.\-]*", name):
            raise ModelError(f"'{name}' is no name of an element or attribute", line)

    @staticmethod
    def _distinct(things, name_of, complaint, line):
        seen = set()
        for each in things:
            if name_of(each) in seen:
                raise ModelError(f"{complaint} '{name_of(each)}'", line)
            seen.add(name_of(each))

    def _fill(self, owner, entries):
        for name in entries:
            owner.members.append(self._member(owner, name, entries))
        where, line = owner.qualified.replace("c_", ""), entries.line()
        if len(owner.members) > 64:
            raise ModelError(f"{where}: more than 64 members", line)
        self._distinct(owner.members, lambda each: each.id,
                       f"{where}: two members, elements or attributes, are named", line)
        elements = [alternative for each in owner.members if each.kind in ("element", "choice")
                    for alternative in ([each] if each.kind == "element" else each.child.members)]
        self._distinct(elements, lambda each: each.name, f"{where}: two elements are named", line)
        self._distinct([owner, *owner.nested], lambda each: each.cpp,
                       f"{where}: two classes, give one another name by \"class\", are named", line)

    def _member(self, owner, key, entries):
        name, line = key.removeprefix("@"), entries.line(key)
        where = f"{owner.name}: {key}"
        self._check_name(name, line)
        raw = entries[key]
        if isinstance(raw, str):
            raw = Entries({"type": raw}, {"type": line}, line)
        if not isinstance(raw, Entries):
            raise ModelError(f"{where}: a type or a list of entries is wanted", line)
        occurs = bounds(raw.get("occurs", "1..1"), f"{where}: occurs", raw.line("occurs"))
        if occurs[1] == 0:
            raise ModelError(f"{where}: can never occur", line)
        kind = "attribute" if key.startswith("@") else "choice" if "choice" in raw else "element"
        member = Member(name, kind, occurs, edition=raw.get("edition"))
        member.optional = occurs == (0, 1)
        {"attribute": self._attribute, "choice": self._choice, "element": self._element}[kind](
            owner, member, raw, where)
        return member

    def _attribute(self, _, member, raw, where):
        if "fixed" in raw:
            raw.only(where, required=("fixed",), optional=("occurs", "edition"))
            member.simple, member.fixed = self._types.find("string", where, 0), raw.text("fixed")
        else:
            raw.only(where, required=("type",), optional=("occurs", "edition"))
            member.simple = self._simple(raw, where)
        if member.is_repeated:
            raise ModelError(f"{where}: an attribute occurs once at most", raw.line("occurs"))

    def _element(self, owner, member, raw, where):
        # "units: m" is short for "@units": {fixed: m}
        attributes = Entries({}, {}, raw.line())
        for key in raw:
            if key.startswith("@") or key == "units":
                value = raw[key]
                if key == "units":
                    value = Entries({"fixed": value}, {"fixed": raw.line(key)}, raw.line(key))
                attributes.add("@" + key.removeprefix("@"), value, raw.line(key))
        raw.only(where, required=("type",),
                 optional=("class", "occurs", "edition", "units",
                           *(key for key in raw if key.startswith("@"))))
        name = raw.text("type")
        if name in self._classes:
            if attributes or "class" in raw:
                raise ModelError(f"{where}: '{name}' is a class; its attributes stand there",
                                 raw.line("type"))
            member.child = self._classes[name]
        elif attributes:
            member.child = self._value_class(owner, member, raw, attributes, where)
        else:
            if "class" in raw:
                raise ModelError(f"{where}: an element without attributes has no class of its own",
                                 raw.line("class"))
            member.simple = self._simple(raw, where)
            if member.simple.items is not None and member.is_repeated:
                raise ModelError(f"{where}: a list in an element that occurs several times needs a "
                                 "class around it", raw.line("occurs"))

    def _simple(self, raw, where):
        name, line = raw.text("type"), raw.line("type")
        if name in self._classes:
            raise ModelError(f"{where}: '{name}' is a class, a simple type is wanted", line)
        return self._types.find(name, where, line)

    def _value_class(self, owner, element, raw, attributes, where):
        """The nested class of an element that has a value and attributes."""
        made = Class(raw.text("class") if "class" in raw else element.name, owner)
        self._check_name(made.name, raw.line("class"))
        owner.nested.append(made)
        value = Member(element.name, "text", (1, 1), self._simple(raw, where))
        # The value of an element that need not be there can be asked for and taken away.
        value.optional = element.occurs[0] == 0 and element.edition is None
        made.members.append(value)
        self._fill(made, attributes)
        return made

    def _choice(self, owner, member, raw, where):
        raw.only(where, required=("choice",), optional=("occurs", "edition"))
        made = Class(member.name, owner, is_choice=True)
        owner.nested.append(made)
        alternatives = raw.entries("choice")
        if not alternatives:
            raise ModelError(f"{where}: a choice of nothing", raw.line("choice"))
        for element in alternatives:
            line = alternatives.line(element)
            self._check_name(element, line)
            if alternatives[element] not in self._classes:
                raise ModelError(f"{where}: there is no class '{alternatives[element]}'", line)
            if element == "none":
                raise ModelError(f"{where}: 'none' says that nothing is chosen", line)
            made.members.append(Member(element, "element", (0, 1), in_choice=True,
                                       child=self._classes[alternatives[element]]))
        self._distinct(made.members, lambda each: each.id, f"{where}: two elements are named",
                       raw.line("choice"))
        member.child = made
