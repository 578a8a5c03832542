#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes rfsar's man page and bash completion from what `rfsar --help` says.

Usage: make_man.py RFSAR OUTPUT_FOLDER    writes rfsar.1 and completion/rfsar
"""

import pathlib
import re
import subprocess
import sys
import typing

SECTION = re.compile(r"^(Positionals|Options|Subcommands):$")
GROUP = re.compile(r"^[A-Z][A-Za-z ]*:$")  # of options, under a title of its own
COLUMN = re.compile(r"^  (\S.*?)(?:\s{2,}(\S.*))?$")


class Entry(typing.NamedTuple):
    term: str  # "-o,--output TEXT REQUIRED"
    text: str

    def flags(self):
        return [word for word in self.term.split(" ")[0].split(",") if word.startswith("-")]

    def takes_value(self):
        return " " in self.term

    def values(self):
        """Those of a METHOD, which its text begins with: "nearest, bilinear or cubic (...)"."""
        if not re.search(r" METHOD\b", self.term):
            return []
        return re.split(r", | or ", self.text.split(" (")[0])


class Help(typing.NamedTuple):
    description: str
    usage: str
    sections: dict  # title -> [Entry]
    footer: str


def parse_help(text):
    """Description, a line "Usage:", sections of indented entries, then free text."""
    head, _, rest = text.partition("Usage: ")
    usage, _, rest = rest.partition("\n")
    sections, footer, entries = {}, [], None
    lines = rest.split("\n")
    for line, following in zip(lines, [*lines[1:], ""]):
        if SECTION.match(line):
            entries = sections.setdefault(line[:-1], [])
        elif GROUP.match(line) and following.startswith("  -"):
            entries = sections["Options"]
        elif footer or (line and not line.startswith(" ")):
            footer.append(line)
        elif line.startswith("   ") and entries:  # goes on below its term
            last = entries[-1]
            entries[-1] = Entry(last.term, f"{last.text} {line.strip()}".strip())
        elif line:
            term, described = COLUMN.match(line).groups()
            entries.append(Entry(term, described or ""))
    if not usage or "Options" not in sections:
        raise SystemExit(f"make_man: this help text is not understood:\n{text}")
    return Help(head.strip(), usage, sections, "\n".join(footer).strip())


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def readable(term):
    """"--size UINT:UINT in [1 - 32768]=1024 REQUIRED" without the program's type checks."""
    term = re.sub(r":\S+ in (\[[^]]*\])", r" \1", term)
    return term.replace(" REQUIRED", "").replace(",--", ", --")


def entries_roff(entries):
    return "".join(f".TP\n.B {roff(readable(e.term))}\n{roff(e.text)}\n" for e in entries)


def man_page(version, main, verbs):
    page = [f'.TH RFSAR 1 "" "{roff(version)}" "User Commands"\n',
            ".SH NAME\nrfsar \\- open, describe and convert SAR satellite products\n",
            ".SH SYNOPSIS\n",
            *(f".B {roff(text.usage)}\n.br\n" for text in verbs.values()),
            f".SH DESCRIPTION\n{roff(main.description)}\n",
            f".SH OPTIONS\n{entries_roff(main.sections['Options'])}",
            ".SH COMMANDS\n"]
    for name, text in verbs.items():
        own = [e for e in text.sections["Options"] if "--help" not in e.flags()]
        page.append(f".SS {roff(name)}\n{roff(text.description)}\n{entries_roff(own)}")
        if text.footer:
            page.append(f".PP\n.nf\n{roff(text.footer)}\n.fi\n")
    page.append(".SH EXIT STATUS\n0: done. 1: failed. 2: wrong usage. Interrupted, by the signal (130 or 143 in a "
                "shell). A file is written whole or not at all.\n"
                ".SH SEE ALSO\n.BR gdalinfo (1)\n")
    return "".join(page)


def completion(main, verbs):
    flags = {name: sorted(f for e in text.sections["Options"] for f in e.flags())
             for name, text in verbs.items()}
    options = [e for text in verbs.values() for e in text.sections["Options"] if e.takes_value()]
    valued = sorted({f for e in options for f in e.flags()} - {"--layer"})
    choices = {"|".join(e.flags()): " ".join(e.values()) for e in options if e.values()}
    layered = [name for name, text in verbs.items()
               if any(e.term.startswith("LAYER") for e in text.sections.get("Positionals", []))]
    top = [f for e in main.sections["Options"] for f in e.flags()] + list(verbs)
    words = "".join(f'        {name}) words="{" ".join(own)}" ;;\n' for name, own in flags.items())
    values = "".join(f'        {own}) words="{chosen}" ;;\n' for own, chosen in choices.items())
    return f"""# bash completion for rfsar
_rfsar_layers() {{ # of the product that the line names
    "$1" info "$2" 2>/dev/null | sed -n '/^layers/,/^export also/{{
        s/^  \\([A-Z][A-Z0-9_@\\/]*\\) .*/\\1/p
        s/^export also *//p
    }}' | sed 's/, */\\n/g'
}}
_rfsar() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
    local words= verb= file= word before=
    for word in "${{COMP_WORDS[@]:1:COMP_CWORD - 1}}"; do
        case $before in
        {"|".join([*valued, "--layer"])}) ;; # its value
        *)  if [[ $word != -* && -z $verb ]]; then
                verb=$word
            elif [[ $word != -* && -z $file && -e $word ]]; then
                file=$word
            fi ;;
        esac
        before=$word
    done
    COMPREPLY=()
    case $previous in
{values}        --layer) words=$([[ -z $file ]] || _rfsar_layers "${{COMP_WORDS[0]}}" "$file") ;;
        {"|".join(valued)}) return ;; # a value: files by default
    esac
    if [[ -z $words && ( -z $verb || $current == -* ) ]]; then
        case $verb in
        "") words="{" ".join(top)}" ;;
{words}        esac
    elif [[ -z $words && $previous == "$file" ]]; then
        case $verb in
        {"|".join(layered)}) words=$(_rfsar_layers "${{COMP_WORDS[0]}}" "$file") ;;
        esac
    fi
    [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o default -F _rfsar rfsar
"""


def main():
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])

    def said(*arguments):
        return subprocess.run([program, *arguments], check=True, capture_output=True,
                              text=True).stdout

    top = parse_help(said("--help"))
    verbs = {e.term: parse_help(said(e.term, "--help")) for e in top.sections["Subcommands"]}
    (folder / "completion").mkdir(parents=True, exist_ok=True)
    (folder / "rfsar.1").write_text(man_page(said("--version").strip(), top, verbs), "utf-8")
    (folder / "completion/rfsar").write_text(completion(top, verbs), "utf-8")


if __name__ == "__main__":
    main()
