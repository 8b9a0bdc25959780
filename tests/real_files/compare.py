#!/usr/bin/python3
"""Compares how the library and pandas read real files. Prints a table in Markdown and the differences.

usage: compare.py PRINT_CASES FOLDER < files.tsv

FOLDER has a folder for each package of the list, with the files of the package.
"""

import csv
import json
import os
import subprocess
import sys

import pandas

DELIMITERS = {"comma": ",", "tab": "\t", "semicolon": ";", "space": " "}


def read_by_library(program, path, encoding):
    options = [] if encoding.startswith("utf-8") else [encoding]
    done = subprocess.run([program, path, *options], capture_output=True, text=True)
    if done.returncode != 0:
        return None, done.stderr.strip().rpartition("/")[2]
    lines = [json.loads(line) for line in done.stdout.split("\n") if line]
    return (lines[0], lines[1:]), None


def read_by_pandas(path, delimiter, encoding):
    try:
        return pandas.read_csv(path, sep=delimiter, encoding=encoding, low_memory=False,
                               float_precision="round_trip", index_col=False), None
    except Exception as error:
        return None, f"{type(error).__name__}: {error}"


def library_type(variable):
    if variable["width"] > 0:
        return "text"
    if variable["format"] != "plain":
        return variable["format"]
    return "boolean" if variable["labels"] == [[0.0, "false"], [1.0, "true"]] else "number"


def pandas_type(column):
    if pandas.api.types.is_bool_dtype(column):
        return "boolean"
    return "number" if pandas.api.types.is_numeric_dtype(column) else "text"


def is_missing(value):
    return value is None or value == ""


def seconds(text):
    """The date value for a text of pandas; None if the text is no date."""
    try:
        return pandas.Timestamp(text, tz="UTC").timestamp() if isinstance(text, str) else None
    except ValueError:
        return None


def same(ours, theirs, kind):
    """Whether two values are equal, or both missing."""
    theirs = None if pandas.isna(theirs) else theirs
    if is_missing(ours) or is_missing(theirs):
        return is_missing(ours) and is_missing(theirs)
    if kind in ("date", "datetime"):
        return ours == seconds(theirs)
    if kind == "text":
        # The library does not store blanks at the end of a string.
        return isinstance(theirs, str) and ours == theirs.rstrip(" ")
    return not isinstance(theirs, str) and float(ours) == float(theirs)


def shown(value):
    text = "missing" if is_missing(value) or pandas.isna(value) else repr(value)
    return text if len(text) <= 40 else text[:40] + "..."


def compare_column(variable, name, ours, theirs):
    """The differences of one column as lines; and whether the types agree."""
    lines = []
    kind = library_type(variable)
    other = pandas_type(theirs)
    if variable["name"] != name:
        lines.append(f"name: {variable['name']!r}, pandas {name!r}")
    # pandas reads dates as text by default, and a column without values as numbers.
    agree = kind == other or (kind in ("date", "datetime") and other == "text")
    agree = agree or all(is_missing(value) for value in ours) and theirs.isna().all()
    if not agree:
        lines.append(f"{variable['name']}: type {kind}, pandas {other}")
    different = [i for i, value in enumerate(ours) if not same(value, theirs.iloc[i], kind)]
    if different:
        first = different[0]
        lines.append(f"{variable['name']}: {len(different)} values differ, the first in case "
                     f"{first + 1}: {shown(ours[first])}, pandas {shown(theirs.iloc[first])}")
    return lines, agree


def compare(read, frame):
    variables, cases = read
    if len(variables) != frame.shape[1] or len(cases) != frame.shape[0]:
        return [f"{len(cases)} cases and {len(variables)} variables, pandas "
                f"{frame.shape[0]} and {frame.shape[1]}"], 0
    lines, agreeing = [], 0
    for i, variable in enumerate(variables):
        ours = [case[i] for case in cases]
        more, agree = compare_column(variable, frame.columns[i], ours, frame.iloc[:, i])
        lines += more
        agreeing += agree
    return lines, agreeing


def date_count(variables):
    return sum(library_type(variable) in ("date", "datetime") for variable in variables)


def main():
    program, folder = sys.argv[1:]
    rows, details = [], []
    for package, file, delimiter, encoding in csv.reader(
            (line for line in sys.stdin if not line.startswith("#")), delimiter="\t"):
        path = os.path.join(folder, package.replace(":", "_"), file)
        name = f"{package.split('@')[0]} {os.path.basename(file)}"
        read, error = read_by_library(program, path, encoding)
        frame, pandas_error = read_by_pandas(path, DELIMITERS[delimiter], encoding)
        if error or pandas_error:
            lines = [f"library: {error or 'reads it'}", f"pandas: {pandas_error or 'reads it'}"]
            failed = [reader for reader, why in (("library", error), ("pandas", pandas_error)) if why]
            rows.append((name, "", "", "", "", "error of " + " and ".join(failed)))
        else:
            lines, agreeing = compare(read, frame)
            rows.append((name, len(read[1]), len(read[0]), f"{agreeing} of {len(read[0])}",
                         date_count(read[0]) or "", "; ".join(lines) or "none"))
        if lines:
            details.append(name + "\n" + "".join(f"  {line}\n" for line in lines))
    print("| file | cases | variables | types agree | dates | differences |\n|---|---|---|---|---|---|")
    for row in rows:
        print("| " + " | ".join(str(cell) for cell in row) + " |")
    print()
    print("\n".join(details))


main()
