#!/usr/bin/env python3
"""Make docs/messages.md from the message files of data/msgdata, the same bytes on every host.

With --check nothing is written: the page is compared with what the files say.
"""

import pathlib
import sys
import textwrap
import xml.etree.ElementTree

TOP = pathlib.Path(__file__).resolve().parent.parent
DATA = TOP / "data" / "msgdata"
PAGE = TOP / "docs" / "messages.md"

HEAD = """\
# Messages

What the library can report by number. Each number is an interface: it is quoted in support calls, programs
look for it, and it is never used again for another message. `$$s`, `$$d` and the like stand for arguments;
`\\n` is a line end. `ketriope explain <number>` tells the same of one message, and of those of other tools.

This page is made by `scripts/make_messages_page.py`. To change it, change `data/msgdata`.
"""


def document(name):
    return xml.etree.ElementTree.parse(DATA / f"{name}.xml").getroot()


def kind(message):
    """The type as a person reads it."""
    if message.get("type") != "Warning":
        return message.get("type")
    return f"Warning, level {message.get('level', '2')}"


def section(message, fid):
    words = " ".join(message.findtext("help").split())
    return "\n".join([f"### {fid}{message.get('uid')}", "", f"{kind(message)}", "",
                      "```", message.get("text"), "```", "", textwrap.fill(words, 110), ""])


def page():
    parts = [HEAD]
    for entry in sorted(document("msgindex").iter("msgFile"), key=lambda entry: int(entry.get("fid"))):
        root = document(entry.get("name"))
        fid = root.get("fid")
        parts.append(f"## {root.get('name')} ({fid})\n\n{root.find('description').get('text')}.\n")
        parts += [section(message, fid) for message in root.iter("msg")]
    return "\n".join(parts)


def main():
    made = page().encode("utf-8")
    if "--check" not in sys.argv[1:]:
        PAGE.write_bytes(made)
        return 0
    if PAGE.read_bytes() == made:
        return 0
    print("docs/messages.md is not what scripts/make_messages_page.py makes")
    return 1


if __name__ == "__main__":
    sys.exit(main())
