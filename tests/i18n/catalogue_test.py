"""The catalogue's generator refuses a broken table, and every text in the program's code has a row."""

import ast
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(__file__).parents[2] / "src"
GENERATOR = SOURCES / "i18n/generate_catalogue.py"
TABLE = SOURCES / "i18n/catalogue.tsv"


def read_rows():
    """The header is row 0."""
    return [line.split("\t") for line in TABLE.read_text(encoding="utf-8").rstrip("\n").split("\n")]


def row_of(source):
    return next(number for number, row in enumerate(read_rows()) if row[0] == source)


def run_generator(content):
    """Gives the exit code, what was said, and whether anything was written."""
    with tempfile.TemporaryDirectory() as folder:
        table, output = pathlib.Path(folder, "table.tsv"), pathlib.Path(folder, "out.cpp")
        table.write_bytes(content)
        run = subprocess.run([sys.executable, GENERATOR, table, output], capture_output=True, check=False)
        return run.returncode, run.stderr.decode("utf-8"), output.exists()


class Generator(unittest.TestCase):
    def test_takes_the_table(self):
        self.assertEqual(run_generator(TABLE.read_bytes()), (0, "", True))

    def test_refuses_a_broken_table(self):
        german, french = 6, 7
        no = row_of("Нет")

        def cell(row, column, text):
            return lambda rows: rows[row].__setitem__(column, text)

        def swap(row):
            def swap_rows(rows):
                rows[row], rows[row + 1] = rows[row + 1], rows[row]

            return swap_rows

        cases = [
            ("columns in another order", lambda rows: rows[0].reverse(), "the first row must name the columns"),
            ("row missing", lambda rows: rows.pop(), "202 rows instead of 203"),
            ("row too many", lambda rows: rows.append(rows[-1]), "204 rows instead of 203"),
            ("cell missing", lambda rows: rows[5].pop(), "row 5: 19 columns"),
            ("rows in another order", swap(9), "row 10, column ru: '2. "),
            ("source twice", lambda rows: rows.__setitem__(13, rows[12]), "row 13, column ru: "),
            ("empty cell", cell(12, german, ""), "row 12, column de: empty"),
            ("blank lost at the end", cell(3, french, " · erreurs :"), "row 3, column fr: begins or ends"),
            ("other blank", cell(3, french, "\u00a0· erreurs : "), "row 3, column fr: begins or ends"),
            ("line feed lost", cell(2, german, "Papierkorb geleert."), "row 2, column de: begins or ends"),
            ("other escape", cell(12, german, r"a\tb"), "row 12, column de: a backslash"),
            ("control character", cell(12, german, "a\rb"), "row 12, column de: a control character"),
            ("stored key changed", cell(no, 0, "Нету"), f"row {no}, column ru: the key is m:"),
            ("row of a stored key lost", cell(no, 1, "Nope"), "column en: no row with 'No'"),
        ]
        for name, break_rows, message in cases:
            with self.subTest(name):
                rows = read_rows()
                break_rows(rows)
                code, said, wrote = run_generator("".join("\t".join(row) + "\n" for row in rows).encode("utf-8"))
                self.assertEqual((code, wrote), (1, False), said)
                self.assertIn(message, said)

    def test_refuses_other_encodings(self):
        code, said, wrote = run_generator(TABLE.read_text(encoding="utf-8").encode("utf-16"))
        self.assertEqual((code, wrote), (1, False))
        self.assertIn("no UTF-8", said)


def texts_without_row(code):
    """Russian texts, and texts that go straight to tr, that are no source of the catalogue."""
    # A language's own name stands behind its locale name; it is never translated.
    code = re.sub(r'W\("[a-z]{2}-[A-Z]{2}"\), W\("[^"]*"\)', "", code)
    sources = {row[0].replace(r"\n", "\n") for row in read_rows()[1:]}
    for shown, pieces in re.findall(r'(\btr\(\s*)?\bW\(((?:\s*"(?:[^"\\]|\\.)*")+)\s*\)', code):
        text = ast.literal_eval(f"({pieces})")
        if (shown or re.search("[\u0400-\u04ff]", text)) and text not in sources:
            yield text


class Texts(unittest.TestCase):
    def test_each_has_a_row(self):
        for path in [*SOURCES.rglob("*.cpp"), *SOURCES.rglob("*.h")]:
            with self.subTest(path.relative_to(SOURCES)):
                self.assertEqual(list(texts_without_row(path.read_text(encoding="utf-8"))), [])

    def test_one_without_is_found(self):
        code = r'tr(W("Нет")) + W("\nКорзина очищена.") + tr(W("No")) + f(W("Нет "), W("При"' + '\n "вет"), W("Hello"))'
        self.assertEqual(list(texts_without_row(code)), ["No", "Нет ", "Привет"])


if __name__ == "__main__":
    unittest.main()
