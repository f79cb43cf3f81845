"""Reads what a program says of itself with --help: the one place where its options and subcommands stand. Manual pages
and completions are made from it, so they have what the program has."""
import re
import subprocess
from typing import NamedTuple

descriptionColumn = 30


class Entry(NamedTuple):
    names: list  # "-u", "--unit"; one word for a positional or a subcommand
    kind: str  # what the value is: "TEXT", "FILE", "FLOAT", ...; empty for a flag
    choices: list  # the only values, if there are such
    default: str
    needs: list
    excludes: list
    repeated: bool
    variable: str  # of the environment, which gives the value too
    description: str

    @property
    def is_option(self):
        return self.names[0].startswith("-")

    @property
    def long_name(self):
        return self.names[-1].lstrip("-")


class Command(NamedTuple):
    words: list  # the program, and the subcommand if it is one
    description: list  # lines
    options: list
    positionals: list
    subcommands: list  # entries


def split_entry(line, following):
    """Name part and description; a long name part has its description on the lines that follow."""
    fits = len(line) > descriptionColumn and line[descriptionColumn - 1] == " " and (
        line[descriptionColumn - 2] == " " or not following)
    description = [line[descriptionColumn:]] if fits else []
    return (line[:descriptionColumn] if fits else line).strip(), " ".join(description + following).strip()


def relation(name, text):
    found = re.search(rf" {name}:((?: -[\w,-]+)+)", text)
    return (found.group(1).split(), text.replace(found.group(0), "")) if found else ([], text)


def parse_entry(line, following):
    left, description = split_entry(line, following)
    needs, left = relation("Needs", left)
    excludes, left = relation("Excludes", left)
    variable = re.search(r" \(Env:(\w+)\)", left)
    left = left.replace(variable.group(0), "") if variable else left
    repeated = left.endswith(" ...")
    words = left.removesuffix(" ...").replace(" REQUIRED", "").split(" ", 1)
    found = re.fullmatch(r"([^:=]*)(?::(.*?))?(?:=(.*))?", words[1] if len(words) > 1 else "")
    kind, check, default = (part or "" for part in found.groups())
    choices = check[1:-1].split(",") if check.startswith("{") and check.endswith("}") else []
    kind = check if check in ("FILE", "DIR", "PATH") else kind
    return Entry(words[0].split(","), kind, choices, default, needs, excludes, repeated,
                 variable.group(1) if variable else "", description)


def parse_sections(lines):
    """Entries by the heading above them; what is no entry is left out."""
    sections, heading = {}, None
    for number, line in enumerate(lines):
        if re.fullmatch(r"\S.*:", line):
            heading = line[:-1]
        elif heading and re.match(r"  \S", line):
            following = []
            for later in lines[number + 1:]:
                if not later.startswith(" " * descriptionColumn):
                    break
                following.append(later.strip())
            sections.setdefault(heading, []).append(parse_entry(line, following))
    return sections


def read_command(program, *subcommand):
    # Narrow or wide terminals and languages make no difference to it.
    text = subprocess.run([program, *subcommand, "--help"], check=True, text=True, stdout=subprocess.PIPE).stdout
    lines = text.splitlines()
    usage = next(number for number, line in enumerate(lines) if line.startswith("Usage: "))
    sections = parse_sections(lines[usage + 1:])
    entries = [entry for heading, found in sections.items() if heading != "Subcommands" for entry in found]
    name = program.rsplit("/", 1)[-1]
    return Command([name, *subcommand], [line for line in lines[:usage] if line],
                   [entry for entry in entries if entry.is_option],
                   [entry for entry in entries if not entry.is_option], sections.get("Subcommands", []))


def read_program(program):
    """The program's own command, and those of its subcommands."""
    own = read_command(program)
    return own, [read_command(program, entry.names[0]) for entry in own.subcommands]
