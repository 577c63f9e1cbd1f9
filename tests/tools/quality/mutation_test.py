"""Which defects are put into a source, and where."""

import itertools
import unittest

from mutation import code_of, draw, mutants_of


def changes(text, operator=None):
    """What each mutant makes of the text's one line, or of the lines that it changes."""
    found = [m for m in mutants_of("src/core/X.cpp", text) if operator in (None, m.operator)]
    return [m.lines(text)[1] for m in found]


def inside(statement):
    return "void f() {\n    " + statement + "\n}\n"


class Operators(unittest.TestCase):
    def test_relations_become_their_neighbours_and_their_opposites(self):
        self.assertEqual(["bool a = x <= y;", "bool a = x >= y;"], changes("bool a = x < y;"))
        self.assertEqual(["bool a = x != y;"], changes("bool a = x == y;"))
        self.assertEqual(["bool a = x || y;"], changes("bool a = x && y;"))

    def test_an_operator_at_the_end_of_a_line_is_one_too(self):
        self.assertEqual(["bool a = x ||"], changes("bool a = x &&\n         y;"))

    def test_arithmetic_is_reversed(self):
        self.assertEqual(["n = a - b;"], changes("n = a + b;"))
        self.assertEqual(["n += a;"], changes("n -= a;"))
        self.assertEqual(["--n;"], changes("++n;"))
        self.assertEqual(["n = a >> b;"], changes("n = a << b;"))

    def test_brackets_of_templates_pointers_and_references_are_no_operators(self):
        for text in ("std::vector<int> a;", "T* p = *q;", "T& r = s;", "T&& r = f(&s);", "template <class T>",
                     "p->x = -y;", "int f() = default;"):
            self.assertEqual([], changes(text), text)

    def test_texts_are_only_ever_added(self):
        self.assertEqual([], changes('s = "a" + t + "b";'))

    def test_numbers_go_up_and_down_and_never_below_nothing(self):
        self.assertCountEqual(["f(10);", "f(8);"], changes("f(9);"))
        self.assertEqual(["f(1u);"], changes("f(0u);"))
        self.assertCountEqual(["f(17);", "f(15);"], changes("f(0x10);"))
        self.assertCountEqual(["f(1001);", "f(999);"], changes("f(1'000);"))

    def test_digits_of_a_name_are_no_numbers(self):
        self.assertEqual([], changes("read32(x1);"))

    def test_truth_is_swapped_but_what_noexcept_says_stays(self):
        self.assertEqual(["bool a = false;"], changes("bool a = true;"))
        self.assertEqual([], changes("~T() noexcept(false);"))

    def test_conditions_are_negated(self):
        self.assertEqual(["if (!(f(a))) g();"], changes("if (f(a)) g();", "condition"))
        self.assertEqual(["while (!(!f())) g();"], changes("while (!f()) g();", "condition"))
        self.assertEqual(["if (int n = f(); !(g(n))) h();"], changes("if (int n = f(); g(n)) h();", "condition"))

    def test_a_declaration_in_a_condition_is_not_negated(self):
        self.assertEqual([], changes("if (T* p = f()) g();", "condition"))

    def test_returned_values_become_empty_ones(self):
        self.assertEqual(["return {};"], changes("return x.size();"))
        self.assertEqual([], changes("return {};"))
        self.assertEqual([], changes("return std::nullopt;"))
        self.assertEqual([], changes("return;"))


class Statements(unittest.TestCase):
    def deleted(self, text):
        return changes(text, "deleted statement")

    def test_calls_assignments_and_jumps_are_deleted(self):
        for statement in ("f(a, b);", "x_ = g();", "a.b(c).d();", "break;", "return;", "throw E();", "delete p;"):
            self.assertEqual(["{}"], self.deleted(inside(statement)), statement)

    def test_a_statement_of_several_lines_goes_whole(self):
        self.assertEqual(["{}"], self.deleted(inside("f(a,\n      [&] { g(); });"))[:1])

    def test_behind_a_condition_only_the_statement_goes(self):
        self.assertEqual(["if (f(a)) {}"], self.deleted(inside("if (f(a)) g();")))
        self.assertEqual(["else {}"], self.deleted(inside("else g();")))
        self.assertEqual(["case A::b: {}"], self.deleted(inside("case A::b: g();")))

    def test_declarations_stay(self):
        for statement in ("int n = 0;", "const auto m = f();", "std::list<int> a;", "T* const p = f();",
                          "const Handle<T> hold(this);", "using namespace a;"):
            self.assertEqual([], self.deleted(inside(statement)), statement)

    def test_a_held_lock_is_removed_although_it_is_a_declaration(self):
        text = inside("const SynchronizedLock lock(lock_);")
        self.assertEqual([("removed lock", "")], [(m.operator, m.lines(text)[1]) for m in mutants_of("f", text)])

    def test_outside_of_functions_nothing_is_deleted(self):
        for text in ("class A {\n    void f();\n    g_t h;\n};", "namespace n {\nf;\n}", "enum class E { a };",
                     "constexpr T TABLE[] = {a(b)};"):
            self.assertEqual([], self.deleted(text), text)

    def test_a_function_in_a_class_has_statements(self):
        self.assertEqual(["void f() { {} }"], self.deleted("class A {\n  void f() { g(); }\n};"))


class Code(unittest.TestCase):
    def test_comments_texts_and_directives_have_no_mutants(self):
        for text in ("// a < b", "/* 1\n 2 */", 'f("a < 1 // b");', "f('0');", "#define A 1\n#if A < 2",
                     'f(R"(1 < 2)");'):
            self.assertEqual([], changes(text), text)

    def test_blanking_moves_nothing(self):
        text = 'int a; // b\nf("c", 1);\n'
        self.assertEqual(len(text), len(code_of(text)))
        self.assertEqual(text.index("1"), code_of(text).index("1"))

    def test_one_mutant_has_one_change(self):
        text = inside("if (a < 1) b();")
        for mutant in mutants_of("f", text):
            changed = mutant.apply(text)
            self.assertEqual(text[:mutant.start], changed[:mutant.start])
            self.assertTrue(changed.endswith(mutant.after + text[mutant.end:]))


class Drawing(unittest.TestCase):
    SOURCES = {"src/a.cpp": inside("f(1);\n    g(2);"), "src/b.cpp": "bool a = b < c;\n" * 20}

    def drawn(self, seed):
        return list(draw(self.SOURCES, seed))

    def test_the_seed_decides(self):
        self.assertEqual(self.drawn(1), self.drawn(1))
        self.assertNotEqual(self.drawn(1), self.drawn(2))

    def test_every_mutant_comes_once(self):
        drawn = self.drawn(3)
        expected = [m for file, text in self.SOURCES.items() for m in mutants_of(file, text)]
        self.assertEqual(len(expected), len(drawn))
        self.assertEqual(set(expected), set(drawn))

    def test_files_are_drawn_by_their_lines(self):
        first = [next(draw(self.SOURCES, seed)).file for seed in range(400)]
        # Two lines of a file have mutants in a.cpp, twenty in b.cpp.
        self.assertAlmostEqual(400 * 2 / 22, first.count("src/a.cpp"), delta=25)

    def test_lines_without_code_are_never_drawn(self):
        self.assertEqual([], list(itertools.islice(draw({"src/a.h": "// 1\n\n"}, 1), 1)))


if __name__ == "__main__":
    unittest.main()
