"""Text as mdoc(7) wants it."""
import re
import textwrap
from pathlib import Path

project = Path(__file__).resolve().parent.parent.parent


def escaped(text):
    text = text.replace("\\", "\\e")
    return "\\&" + text if text[:1] in (".", "'") else text


def word(text):
    """One argument of a macro, never a macro itself."""
    text = escaped(text).replace('"', "\\(dq")
    if re.fullmatch(r"[A-Z%][A-Za-z0-9]{1,2}|[^\w\\]", text):
        text = "\\&" + text
    return f'"{text}"' if " " in text or text == "" else text


def sentences(text):
    """Lines with a sentence each, as the formatter wants it."""
    parts = re.split(r"(?<=[A-Za-z)\]][.:?!]) +(?=[A-Z])", text)
    return [escaped(part).replace(" -- ", " \\-\\- ") for part in parts]


def wrapped(lines):
    """The page, with its lines of text as short as the formatter's style wants them."""
    result, literal = [], False
    for line in lines:
        literal = literal and not line.startswith(".Ed") or line.startswith(".Bd -literal")
        if literal or line.startswith("."):
            result.append(line)
        else:
            parts = textwrap.wrap(line, 79, break_long_words=False, break_on_hyphens=False)
            result += parts[:1] + [escaped(part) if part[0] in ".'" else part for part in parts[1:]]
    return "\n".join(result) + "\n"


def date():
    """Of the latest release, as .Dd wants it."""
    released = re.search(r"^## \[[^]]*\] - (\d+)-(\d+)-(\d+)", (project / "CHANGELOG.md").read_text(), re.M)
    year, month, day = (int(part) for part in released.groups())
    names = "January February March April May June July August September October November December".split()
    return f"{names[month - 1]} {day}, {year}"
