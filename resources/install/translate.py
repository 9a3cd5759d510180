#!/usr/bin/env python3
"""Fills in what the desktop reads about the program, in all languages of the table of texts.

    translate.py CATALOGUE TEMPLATE OUTPUT [NAME=VALUE]...

A line "_Key=text" of a desktop entry, or "<_tag>text</_tag>" of XML, is an English text of the table and comes out once
for each language; texts between ";" stand for themselves. "@NAME@" becomes the value. An output that ends with ".gz" is
compressed, always to the same bytes.
"""

import gzip
import pathlib
import re
import sys
from xml.sax.saxutils import escape


def read_texts(catalogue):
    """The row of each English text, by language."""
    lines = pathlib.Path(catalogue).read_text(encoding="utf-8").splitlines()
    languages = lines[0].split("\t")
    rows = [dict(zip(languages, line.split("\t"))) for line in lines[1:]]
    return {row["en"]: row for row in rows}


def forms(text, texts):
    """Language and text of each language, English first."""
    parts = text.split(";")
    rows = [texts[part] if part else None for part in parts]
    for language in sorted(texts[parts[0]], key=lambda code: (code != "en", code)):
        yield language, ";".join(row[language] if row else "" for row in rows)


def translated(line, texts):
    if entry := re.fullmatch(r"_(\w+)=(.*)", line):
        key, text = entry.groups()
        for language, form in forms(text, texts):
            yield f"{key}={form}" if language == "en" else f"{key}[{language}]={form}"
    elif element := re.fullmatch(r"(\s*)<_(\w+)>(.*)</_\2>", line):
        indent, tag, text = element.groups()
        for language, form in forms(text, texts):
            attribute = "" if language == "en" else f' xml:lang="{language}"'
            yield f"{indent}<{tag}{attribute}>{escape(form)}</{tag}>"
    else:
        yield line


def main(catalogue, template, output, *settings):
    texts = read_texts(catalogue)
    text = pathlib.Path(template).read_text(encoding="utf-8")
    for name, value in (setting.split("=", 1) for setting in settings):
        text = text.replace(f"@{name}@", value)
    lines = [form for line in text.splitlines() for form in translated(line, texts)]
    data = ("\n".join(lines) + "\n").encode()
    pathlib.Path(output).write_bytes(gzip.compress(data, mtime=0) if output.endswith(".gz") else data)


main(*sys.argv[1:])
