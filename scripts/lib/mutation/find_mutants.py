"""Mutants of C++ sources: finds the places with clang's syntax tree, and writes the sources with all mutants in them.

A mutant is a small change that a test should notice. All mutants of all sources are compiled in at once; mutants.h asks
at run time which one lives, so thousands of mutants need one build. The lines keep their numbers.
"""
import collections
import json
import re
import subprocess

Mutant = collections.namedtuple("Mutant", "number file line kind before after")

BOUNDARY = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPPOSITE = {"<": ">=", "<=": ">", ">": "<=", ">=": "<", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<"}
LOGICAL = {"&&": "||", "||": "&&"}
ASSIGNED = {"+=": "-=", "-=": "+=", "*=": "+=", "/=": "*=", "|=": "&=", "&=": "|=", "^=": "|=", "<<=": ">>=",
            ">>=": "<<="}
STATEMENTS = {"CallExpr", "CXXMemberCallExpr", "CXXOperatorCallExpr", "CompoundAssignOperator", "BreakStmt",
              "ContinueStmt", "CStyleCastExpr"}
WRAPPERS = {"ExprWithCleanups", "ImplicitCastExpr", "ParenExpr", "ConstantExpr", "MaterializeTemporaryExpr",
            "CXXBindTemporaryExpr"}
# What the compiler evaluates; of a case only the label.
CONSTANT_KINDS = {"StaticAssertDecl", "EnumConstantDecl", "TemplateArgument", "CaseStmt", "ConstantExpr"}
# Returned values that the default one equals.
DEFAULT_VALUES = {"{}", "std::nullopt", "nullptr", "false", "0", '""'}
INTEGERS = re.compile(r"(const )?(u?int(8|16|32|64)_t|size_t|std::size_t|int|unsigned int|unsigned|long|unsigned long|"
                      r"char|unsigned char|uint8_t|wchar_t|DWORD|ptrdiff_t)$")


class Site:
    """A range of one source and what stands there instead: `render` takes the text with the inner sites rewritten."""

    def __init__(self, begin, end, kind, changes):
        self.begin, self.end, self.kind, self.changes = begin, end, kind, changes
        self.numbers = []


def without_lines(text):
    """The text on one line."""
    return re.sub(r"\s*\n\s*", " ", re.sub(r"//[^\n]*", "", text))


class Finder:
    """Collects the sites of every file below `root` from one translation unit after another."""

    def __init__(self, root):
        self.root = root
        self.texts = {}
        self.sites = collections.defaultdict(dict)  # file -> (begin, end, kind) -> Site
        self.file = None

    def read_unit(self, command):
        tree = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        decoder, at = json.JSONDecoder(), 0
        while at < len(tree):
            node, at = decoder.raw_decode(tree, at)
            self.locate(node)
            self.visit(node, None)
            while at < len(tree) and tree[at] != "{":
                at = tree.find("\n", at) + 1 or len(tree)

    def text(self, file):
        if file not in self.texts:
            with open(file, "rb") as source:
                self.texts[file] = source.read()
        return self.texts[file]

    def locate(self, node):
        """Gives every node its file and range. Clang writes a file name only where it changes."""
        if isinstance(node, list):
            for child in node:
                self.locate(child)
        elif isinstance(node, dict):
            for key in ("loc", "range"):
                if key in node:
                    self.places(node[key])
            place = node.get("range", {})
            begin, end = place.get("begin", {}), place.get("end", {})
            node["span"] = None
            if "offset" in begin and "offset" in end and begin["where"] == end["where"]:
                node["span"] = (begin["where"], begin["offset"], end["offset"] + end["tokLen"])
            for key, child in node.items():
                if key not in ("loc", "range", "span"):
                    self.locate(child)

    def places(self, node):
        if "file" in node:
            self.file = node["file"]
        if "offset" in node:
            node["where"] = self.file
        for key, child in node.items():
            if isinstance(child, dict) and key != "includedFrom":
                self.places(child)

    def visit(self, node, parent):
        if not isinstance(node, dict) or node.get("isImplicit"):
            return
        kind = node.get("kind")
        if kind in CONSTANT_KINDS or node.get("constexpr") and kind == "VarDecl":
            if kind == "CaseStmt":
                for child in node.get("inner", [])[1:]:
                    self.statement(child)
                    self.visit(child, node)
            return
        self.node(node, kind, parent)
        inner = node.get("inner", [])
        for child in inner[-1:] if kind == "CXXForRangeStmt" else inner:  # the rest of a range's loop is made up
            self.visit(child, node)

    def source(self, node):
        file, begin, end = node["span"]
        return self.text(file)[begin:end].decode()

    def reads(self, node, expression):
        """Whether the text of the node begins so: what clang has made up has the place of something else."""
        return bool(node.get("span") and re.match(expression, self.source(node)))

    def add(self, node, kind, changes):
        span = node.get("span")
        if not span or not span[0] or not span[0].startswith(self.root):
            return
        file, begin, end = span
        self.sites[file].setdefault((begin, end, kind), Site(begin, end, kind, changes))

    def node(self, node, kind, parent):
        inner = [child for child in node.get("inner", []) if isinstance(child, dict)]
        if kind in ("BinaryOperator", "CompoundAssignOperator"):
            self.operator(node, node.get("opcode"), inner)
        elif kind == "CXXOperatorCallExpr" and len(inner) == 3:
            self.operator(node, self.operator_name(inner[0]), inner[1:], overloaded=True)
        elif kind == "CXXRewrittenBinaryOperator":
            self.operator(node, self.rewritten_name(node), [], overloaded=True)
        elif kind == "UnaryOperator" and node.get("opcode") in ("++", "--"):
            self.step(node)
        elif kind == "UnaryOperator" and node.get("opcode") == "!" and parent and parent.get("kind") != "IfStmt" and \
                self.reads(node, "![^=]"):
            self.add(node, "negation", [("not", "{0} != (%s)")])
        elif kind in ("IfStmt", "WhileStmt", "ForStmt", "DoStmt", "ConditionalOperator"):
            self.condition(node, kind, inner)
        elif kind == "IntegerLiteral" and self.reads(node, "[0-9]"):
            self.add(node, "constant", [("+ 1", "add({0}, %s, 1)"), ("- 1", "add({0}, %s, -1)")])
        elif kind == "CharacterLiteral" and self.reads(node, "L?'"):
            self.add(node, "constant", [("+ 1", "add({0}, %s, 1)")])
        elif kind == "CXXBoolLiteralExpr" and not (parent and parent.get("kind") == "ReturnStmt"):
            self.add(node, "constant", [("not", "{0} != %s")])
        elif kind == "DeclRefExpr":
            declared = node.get("referencedDecl", {})
            if re.match(r"k[A-Z]", declared.get("name", "")) and declared.get("kind") == "VarDecl" and \
                    self.reads(node, "[a-zA-Z]") and INTEGERS.match(node.get("type", {}).get("qualType", "")):
                self.add(node, "constant", [("+ 1", "add({0}, %s, 1)"), ("- 1", "add({0}, %s, -1)")])
        elif kind == "ReturnStmt" and inner and inner[0].get("span") and node.get("span"):
            self.returned(node, inner[0])
        if kind == "CompoundStmt":
            for child in inner:
                self.statement(child)
        elif kind in ("IfStmt", "ForStmt", "WhileStmt", "CXXForRangeStmt", "DefaultStmt"):
            for child in inner[1:] if kind != "DefaultStmt" else inner:
                if child.get("kind") in STATEMENTS | {"ExprWithCleanups", "BinaryOperator"} and \
                        not self.is_condition(node, child) and child is inner[-1]:
                    self.statement(child)

    @staticmethod
    def is_condition(node, child):
        return node.get("kind") == "IfStmt" and child is node["inner"][0]

    @staticmethod
    def bare(node):
        while node.get("kind") in WRAPPERS and node.get("inner"):
            node = node["inner"][0]
        return node

    def operator_name(self, callee):
        name = self.bare(callee).get("referencedDecl", {}).get("name", "")
        return name[len("operator"):] if name.startswith("operator") else None

    @staticmethod
    def rewritten_name(node):
        """`a != b` where only == is declared: the tree holds !(a == b)."""
        inner = node.get("inner", [{}])[0]
        return "!=" if inner.get("kind") == "UnaryOperator" else None

    def operator(self, node, name, operands, overloaded=False):
        """A change of the operator between two operands. The text is cut at the operands' ends."""
        changes = []
        if name in OPPOSITE:
            changes = [OPPOSITE[name]] + ([BOUNDARY[name]] if name in BOUNDARY else [])
        elif name in LOGICAL:
            changes = [LOGICAL[name]]
        elif name in ARITHMETIC and not overloaded:
            changes = [ARITHMETIC[name]]
        elif name in ASSIGNED and not overloaded:
            changes = [ASSIGNED[name]]
        if not changes or not node.get("span"):
            return
        if operands and all(operand.get("span") for operand in operands):
            left, right = operands[0]["span"], operands[1]["span"]
            if left[0] != right[0] or left[0] != node["span"][0]:
                return
            text = self.text(left[0])
            between = text[left[2]:right[1]].decode()
            if between.strip() != name:
                return
            first, second = text[left[1]:left[2]].decode(), text[right[1]:right[2]].decode()
        else:
            parts = re.split(r" %s " % re.escape(name), self.source(node))
            if len(parts) != 2:
                return
            first, second = parts
        self.add(node, "operator", [
            ("%s -> %s" % (name, change), "on({0}) ? ((%s) %s (%s)) : (%%s)" % (
                without_lines(first).replace("%", "%%"), change.replace("%", "%%"),
                without_lines(second).replace("%", "%%"))) for change in changes])

    def step(self, node):
        text = without_lines(self.source(node)) if node.get("span") else ""
        other = text.replace("++", "--") if "++" in text else text.replace("--", "++")
        if text:
            self.add(node, "operator", [("%s" % other, "on({0}) ? (%s) : (%%s)" % other.replace("%", "%%"))])

    def condition(self, node, kind, inner):
        if node.get("isConstexpr") or node.get("hasVar"):
            return
        raw = node.get("inner", [])
        index = {"ForStmt": 2, "DoStmt": 1}.get(kind, 1 if node.get("hasInit") else 0)
        if index >= len(raw) or not raw[index].get("span"):
            return
        condition = self.bare(raw[index])
        if condition.get("opcode") in OPPOSITE or self.operator_name(
                condition.get("inner", [{}])[0]) in OPPOSITE or condition.get("kind") == "CXXRewrittenBinaryOperator":
            return  # that operator has its own opposite
        self.add(raw[index], "condition", [("not", "on({0}) != static_cast<bool>(%s)")])

    def returned(self, node, value):
        text = self.source(value)
        bare = self.bare(value)
        if value.get("type", {}).get("qualType") == "bool":
            if bare.get("opcode") not in OPPOSITE and bare.get("kind") not in ("CXXOperatorCallExpr",
                                                                              "CXXRewrittenBinaryOperator"):
                self.add(value, "returned value", [("not", "on({0}) != (%s)")])
        elif text not in DEFAULT_VALUES and value.get("type", {}).get("qualType") != "void":
            self.add(node, "returned value", [("return {{}}", "if (on({0})) return {{}}; else %s")])

    def statement(self, node):
        bare = self.bare(node)
        kind = bare.get("kind")
        if kind in STATEMENTS or kind == "UnaryOperator" and bare.get("opcode") in ("++", "--") or \
                kind == "BinaryOperator" and bare.get("opcode") == "=":
            if kind == "CXXOperatorCallExpr" and self.operator_name(bare["inner"][0]) == "()" and not node.get("span"):
                return
            self.add(node, "statement", [("deleted", "if (on({0})) {{}} else %s")])


def sites_of(command, root):
    """The sites of one translation unit: file -> (begin, end, kind) -> Site."""
    finder = Finder(root)
    finder.read_unit(command + ["-Xclang", "-ast-dump=json", "-Xclang", "-ast-dump-filter=korvel"])
    return dict(finder.sites)


def usable(text, site):
    """No part of a preprocessor line and nothing that a macro has made."""
    line = text[text.rfind(b"\n", 0, site.begin) + 1:site.begin].lstrip()
    return not line.startswith(b"#")


def nested(sites):
    """The sites as a forest; those that cross another one without lying in it are left out."""
    order = {"statement": 0, "returned value": 1, "condition": 2, "negation": 3, "operator": 4, "constant": 5}
    roots, stack = [], []
    for site in sorted(sites, key=lambda site: (site.begin, -site.end, order[site.kind])):
        site.inner = []
        while stack and stack[-1].end <= site.begin:
            stack.pop()
        if stack and site.end > stack[-1].end:
            continue
        (stack[-1].inner if stack else roots).append(site)
        stack.append(site)
    return roots


def rewrite(text, sites, dropped, file, number):
    """The source with the mutants in it, and the list of them. Numbers go on from `number`."""
    mutants = []

    def render(begin, end, inner):
        out, at = [], begin
        for site in inner:
            out.append(text[at:site.begin].decode())
            out.append(alternatives(site))
            at = site.end
        out.append(text[at:end].decode())
        return "".join(out)

    def alternatives(site):
        nonlocal number
        line = text.count(b"\n", 0, site.begin) + 1
        before = without_lines(text[site.begin:site.end].decode())
        shown = render(site.begin, site.end, site.inner)
        for after, form in site.changes:
            if (file, line, site.kind) in dropped or (file, line, "*") in dropped:
                continue
            mutants.append(Mutant(number, file, line, site.kind, before, after.replace("{{", "{").replace("}}", "}")))
            shown = form_of(form, number, shown)
            number += 1
        return shown

    def form_of(form, at, shown):
        called = form.replace("on({0})", "korvel_mutants::on(%d)" % at)
        called = called.replace("add({0}", "korvel_mutants::add(%d" % at)
        called = re.sub(r"^\{0\}", "korvel_mutants::on(%d)" % at, called).replace("{{", "{").replace("}}", "}")
        head, tail = split_form(called)
        whole = head + shown + tail
        return whole if form.startswith("if ") else "(%s)" % whole

    rewritten = render(0, len(text), nested([site for site in sites if usable(text, site)]))
    return rewritten, mutants, number


def split_form(form):
    """Cuts a form at its one %s; %% is a percent sign."""
    at = 0
    while True:
        at = form.index("%", at)
        if form[at + 1] == "s":
            break
        at += 2
    return form[:at].replace("%%", "%"), form[at + 2:].replace("%%", "%")
