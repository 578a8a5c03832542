# SPDX-License-Identifier: MIT
"""Reads a YAML file so that every entry knows its line."""

import yaml


class ModelError(Exception):
    """The model is wrong; the text names the entry, line where it stands."""

    def __init__(self, text, line=0):
        super().__init__(text)
        self.line = line


class Entries(dict):
    """A mapping of the file, with the line of each key and its own."""

    def __init__(self, values=(), lines=(), own_line=0):
        super().__init__(values)
        self._lines, self._own_line = dict(lines), own_line

    def line(self, key=None):
        return self._lines.get(key, self._own_line)

    def add(self, key, value, line):
        if key in self:
            raise ModelError(f"'{key}' stands here twice", line)
        self[key] = value
        self._lines[key] = line

    def only(self, where, required, optional=()):
        for key in self:
            if key not in required and key not in optional:
                raise ModelError(f"{where}: unknown key '{key}'", self.line(key))
        for key in required:
            if key not in self:
                raise ModelError(f"{where}: '{key}' is missing", self.line())

    def text(self, key):
        if not isinstance(self[key], str):
            raise ModelError(f"{key}: {self[key]!r} is no text; write it in quotes", self.line(key))
        return self[key]

    def entries(self, key):
        """The mapping under a key, an empty one when there is none."""
        found = self.get(key)
        if found is None:
            return Entries(own_line=self.line(key))
        if not isinstance(found, Entries):
            raise ModelError(f"{key}: names with values are wanted", self.line(key))
        return found


class _Loader(yaml.SafeLoader):
    pass


def _mapping(loader, node):
    found = Entries(own_line=node.start_mark.line + 1)
    for key_node, value_node in node.value:
        line = key_node.start_mark.line + 1
        key = loader.construct_object(key_node, deep=True)
        if not isinstance(key, str):
            raise ModelError(f"'{key_node.value}' is no text here; write it in quotes", line)
        found.add(key, loader.construct_object(value_node, deep=True), line)
    return found


_Loader.add_constructor("tag:yaml.org,2002:map", _mapping)


def load(path):
    with open(path, encoding="utf-8") as file:
        try:
            found = yaml.load(file, _Loader)
        except yaml.MarkedYAMLError as error:
            mark = error.problem_mark or error.context_mark
            raise ModelError(error.problem or error.context, mark.line + 1 if mark else 0) from error
        except (yaml.YAMLError, UnicodeDecodeError) as error:
            raise ModelError(f"no YAML: {error}") from error
    if not isinstance(found, Entries):
        raise ModelError("holds no entries", 1)
    return found
