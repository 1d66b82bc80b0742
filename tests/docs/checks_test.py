#!/usr/bin/env python3
"""Tests of the checks on documents: each finds what it is for, and passes over what is right."""
import importlib.util
import os
import sys
import tempfile
import unittest

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts")


def load(name):
    found = importlib.util.spec_from_file_location(name, os.path.join(SCRIPTS, f"{name}.py"))
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


sys.dont_write_bytecode = True
doxygen_filter = load("doxygen_filter")
log_texts = load("check_log_texts")
porting = load("check_porting")
links = load("check_links")


class DoxygenFilter(unittest.TestCase):
    def check(self, before, after, name="x.h"):
        result = doxygen_filter.filtered(name, before)
        self.assertEqual(result, after)
        self.assertEqual(len(result), len(before))  # warnings name the header's own lines

    def test_the_first_comment_is_the_files(self):
        self.check(["// x.h - what it is.", "//", "// More.", ""],
                   ["/// \\file x.h what it is.", "/// ", "/// More.", ""])
        self.check(["/*", " * x.h - what it is.", " */"], ["/** \\file x.h ", " * what it is.", " */"])

    def test_a_comment_above_belongs_to_the_declaration(self):
        self.check(["", "    // Does it.", "    int F();"], ["", "    /// Does it.", "    int F();"])
        self.check(["", "/* Does it,", " * twice. */", "int F();"], ["", "/** Does it,", " * twice. */", "int F();"])
        self.check(["", "/* Both sides. */", "#if defined(A)", "#define B 1"],
                   ["", "/** Both sides. */", "#if defined(A)", "#define B 1"])

    def test_a_comment_behind_belongs_to_its_line(self):
        self.check(["", "int a;  // the one"], ["", "int a;  ///< the one"])
        self.check(["", "int a; /* the", "        * one */", "int b;"],
                   ["", "int a; /**< the", "        * one */", "int b;"])
        self.check(["", "#define A 1U /* the one */"], ["", "#define A 1U /**< the one */"])

    def test_other_comments_are_nobodys(self):
        for before in (["", "// Alone.", "", "int a;"], ["", "// ---- Part ----", "int a;"],
                       ["", "// Of the end.", "#endif"], ["", "// One.", "/* Two. */", ""]):
            self.check(before, before)

    def test_text_is_text(self):
        self.check(["", "// a<b> & \\c @d #e 5%", "int a;"], ["", "/// a\\<b\\> \\& \\\\c \\@d \\#e 5\\%", "int a;"])
        self.check(["", 'char a[] = "https://x";'], ["", 'char a[] = "https://x";'])

    def test_deleted_members_are_left_out(self):
        self.check(["", "    C(const C&) = delete;"], ["", ""])


class LogTexts(unittest.TestCase):
    MACROS = ('#define X_LOG_ERROR(...) \\\n    QUOR_MODULE_LOG(kModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)\n'
              '#define X_LOG_INFO(...) QUOR_MODULE_LOG(kModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)\n')

    def raised(self, text):
        files = [("x.cpp", log_texts.without_comments(self.MACROS + text))]
        return [(value, level) for _, value, level in log_texts.raised(files, log_texts.recorders(files))]

    def test_macros_tell_their_level(self):
        self.assertEqual(self.raised('X_LOG_ERROR("a %s", F("b"));\nX_LOG_INFO(\n    "c");'),
                         [("a %s", "error"), ("c", "information")])

    def test_literals_are_joined(self):
        self.assertEqual(self.raised('X_LOG_ERROR("a "\n   "b", 1);'), [("a b", "error")])

    def test_the_platform_names_its_level(self):
        self.assertEqual(self.raised('LogHost(QUOR_OM_LOG_LEVEL_WARNING, "late");'), [("late", "warning")])

    def test_tables_hold_texts_too(self):
        self.assertEqual(self.raised('Texts t = {"<F>: failed"};\nX_LOG_ERROR("%s", t.a);'), [("<F>: failed", None)])

    def test_comments_and_traces_do_not_count(self):
        self.assertEqual(self.raised('// X_LOG_ERROR("a");\nQUOR_TRACE(1, "<F>: b");'), [])

    def test_a_record_without_a_literal_is_told(self):
        self.assertEqual(self.raised('X_LOG_ERROR(text);'), [(None, "error")])

    def test_rows_of_the_document(self):
        rows = log_texts.documented("| `a`<br>`b ` | error | c | d |\n| x | error | c | d |\n| `e` | 5 | f | g |\n")
        self.assertEqual(rows, {"a": {"error"}, "b": {"error"}})

    def test_a_missing_row_fails(self):
        with tempfile.NamedTemporaryFile("w", suffix=".md") as empty:
            sys.argv = ["check_log_texts.py", empty.name]
            with open(os.devnull, "w", encoding="utf-8") as nowhere:
                sys.stdout, kept = nowhere, sys.stdout
                try:
                    self.assertEqual(log_texts.main(), 1)
                finally:
                    sys.stdout = kept


class Porting(unittest.TestCase):
    def declared(self, text):
        with tempfile.NamedTemporaryFile("w", suffix=".h") as header:
            header.write(text)
            header.flush()
            return porting.declared(header.name)

    def test_functions_are_found(self):
        self.assertEqual(self.declared('/* int Not(void); */\nint A(void);\nvoid* B(int b,\n        int c) '
                                       'QUOR_PLATFORM_PRINTF(1, 2);\nconst char* C(void);\n'
                                       '#define D(x) x\ntypedef void (*E)(void* arg);\n'
                                       'QUOR_PLATFORM_STATIC_ASSERT(sizeof(int) == 4, "f");\n'), ["A", "B", "C"])

    def test_rows_are_found(self):
        with tempfile.NamedTemporaryFile("w", suffix=".md") as document:
            document.write("### os.h: x\n| `A` | b |\n| b | `C` |\n## Proving\n| `D` | e |\n")
            document.flush()
            self.assertEqual(porting.documented(document.name), [("A", "os.h: x")])


class Links(unittest.TestCase):
    def test_links_lead_somewhere(self):
        self.assertEqual(list(links.link_complaints("README.md", "[a](docs/terminal.md) [b](https://x/y) [c](#use-it)")),
                         [])
        self.assertEqual(len(list(links.link_complaints("README.md", "[a](docs/no.md)\n[b](#no-such-heading)"))), 2)

    def test_rows_have_the_cells_of_their_table(self):
        self.assertEqual(list(links.table_complaints("x", "| a | b |\n|---|---|\n| c | d |\n\n| e |")), [])
        self.assertEqual(len(list(links.table_complaints("x", "| a | b |\n|---|---|\n| c | d | e |"))), 1)

    def test_code_is_passed_over(self):
        self.assertEqual(links.without_code("a\n```\n[x](y)\n```\n`|`"), "a\n\n\n\n`")


if __name__ == "__main__":
    unittest.main()
