#!/usr/bin/env python3
"""Turns a public header into a form that Doxygen reads. The headers have plain comments:

- a comment before a run of declarations describes all of them, up to the next blank line;
- a comment at the end of a declaration describes that one, and may continue in the lines below;
- "// ---- name --" begins a section: a group of the reference, described by the comment that
  continues below it (after an empty "//");
- a comment without a declaration belongs to its section;
- indented lines are shown unchanged, list items begin with "- ".

A comment for several declarations is written before each of them, so the line numbers of a warning
are larger than those of the header.
"""
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?: (.*)|())$")
SECTION = re.compile(r"^\s*// -{4,} (.+?) --$")
TRAILING = re.compile(r"^(.*\S)\s+// (.*)$")
MAIN = "plinth_w32_system.h"  # its opening comment opens the reference
SPECIAL = re.compile(r"([\\@<>#%&$])")


def escaped(text):
    """The text in the form for Doxygen, which copies text in quotes unchanged."""
    parts = text.split('"')
    if len(parts) % 2 == 0:  # a quotation that continues in another line
        return SPECIAL.sub(r"\\\1", text)
    parts[::2] = [SPECIAL.sub(r"\\\1", part) for part in parts[::2]]
    return '"'.join(parts)


def block_of(lines, *commands):
    """A documentation block of the lines of a comment, with Doxygen commands at its head."""
    out = []
    verbatim = in_item = False
    for number, line in enumerate(lines):
        indented = line.startswith("  ") and not in_item
        if not line:
            # Between two indented lines a blank one is part of what they show.
            following = next((later for later in lines[number:] if later), "")
            if verbatim and not following.startswith("  "):
                out.append("\\endverbatim")
                verbatim = False
            in_item = False
        elif indented and not verbatim:
            out.append("\\verbatim")
            verbatim = True
        elif not indented and verbatim:
            out.append("\\endverbatim")
            verbatim = False
        if line.startswith("- "):
            in_item = True
        out.append(line if verbatim else escaped(line.strip()))
        if line.startswith("- "):
            out[-1] = "- " + escaped(line[2:])
        elif in_item and line:
            out[-1] = "  " + out[-1]
    if verbatim:
        out.append("\\endverbatim")
    text = "\n".join([*commands, *out]).replace("*/", "* /")
    return f"/*! {text}\n*/\n"


def group_id(title):
    return re.sub(r"\W+", "_", title.lower()).strip("_")


class Filter:
    def __init__(self, name):
        self.name = name
        self.group = None
        self.held = None        # the comment that the next declarations of the run share
        self.text = None        # that comment, until a declaration has used it
        self.at_start = True    # whether the next line of code begins a declaration
        self.depth = 0          # of parentheses that are open
        self.trailing = None    # where in the line before a comment of its own began
        self.in_macro = False   # the line continues a macro's text

    def comment(self, lines):
        section = SECTION.match(lines[0])
        text = [re.sub(r"^\s*// ?", "", line) for line in lines]
        if section:
            title = section.group(1)
            self.group = group_id(title)
            self.held = None
            return block_of(text[1:], f"\\defgroup {self.group} {title[0].upper()}{title[1:]}", "")
        self.text = text
        self.held = block_of(text, *([f"\\ingroup {self.group}"] if self.group else []))
        return ""

    def code(self, line):
        goes_on, self.in_macro = self.in_macro, line.endswith("\\")
        if goes_on:
            return line + "\n"
        if line.lstrip().startswith("#"):
            # Of a macro that is defined in several ways each definition gets the comment.
            defines = line.lstrip().startswith("#define") and self.held
            return (self.held if defines else "") + line + "\n"
        if line.rstrip().endswith("= default;"):
            return "\n"  # needs no further text
        begins, bare = self.at_start, line
        trailing = TRAILING.match(line)
        if trailing and "NOLINT" in trailing.group(2):
            line = bare = trailing.group(1)
            trailing = None
        note = ""
        if trailing:
            bare = trailing.group(1)
            note = f" ///< {escaped(trailing.group(2))}"
        self.trailing = line.rindex("// " + trailing.group(2)) if trailing else None
        self.at_start = bare.rstrip()[-1:] in ";{}," or bare.rstrip().endswith(":")
        self.depth += bare.count("(") - bare.count(")")
        if self.depth > 0:
            self.at_start = False  # a parameter list that continues
        stripped = bare.strip()
        documents = begins and self.held and stripped[0] not in "{}" and \
            not re.match(r'(public|protected|private):|extern "C"$|friend ', stripped)
        out = (self.held if documents else "") + bare + note + "\n"
        if documents:
            self.text = None
        # What is inside braces has comments of its own.
        if bare.rstrip().endswith("{") or stripped == "{":
            self.held = None
        return out

    def run(self, lines):
        out = []
        number = 0
        while number < len(lines):
            line = lines[number]
            if COMMENT.match(line):
                end = number
                while end < len(lines) and COMMENT.match(lines[end]) and \
                        (end == number or not SECTION.match(lines[end])):
                    end += 1
                block = lines[number:end]
                if line.index("//") == self.trailing:
                    out += [re.sub(r"//", "///<", escaped_line(each), count=1) + "\n"
                            for each in block]
                elif number == 0:
                    text = [re.sub(r"^\s*// ?", "", each) for each in block]
                    out.append(block_of(text, f"\\file {self.name}"))
                    if self.name == MAIN:
                        out.append(block_of(text, "\\mainpage plinth"))
                else:
                    out.append(self.comment(block))
                number = end
                continue
            if not line.strip():
                if self.text and self.group:
                    # It has no declaration: it describes the section.
                    out.append(block_of(self.text, f"\\addtogroup {self.group}"))
                self.text = None
                self.held = None
                self.trailing = None
                out.append("\n")
            else:
                out.append(self.code(line))
            number += 1
        return "".join(out)


def escaped_line(line):
    head, _, text = line.partition("// ")
    return f"{head}// {escaped(text)}"


if __name__ == "__main__":
    path = sys.argv[1]
    with open(path, encoding="utf-8") as source:
        sys.stdout.write(Filter(path.rsplit("/", 1)[-1]).run(source.read().split("\n")))
