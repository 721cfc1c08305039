"""Writes a source with all its changes, each of which its number chooses at run time."""

import dataclasses


@dataclasses.dataclass
class Node:
    start: int
    end: int
    is_statement: bool
    is_condition: bool = False
    is_constexpr: bool = False
    # Pairs of a change's number and what stands instead.
    arms: list = dataclasses.field(default_factory=list)
    children: list = dataclasses.field(default_factory=list)


class Output:
    """The text so far, and where in it each change has been written."""

    def __init__(self):
        self.text = bytearray()
        self.arms = []
        self.nodes = []

    def write(self, text):
        self.text += text if isinstance(text, bytes) else text.encode()


def rewrite(source, numbered):
    """The source's text with the changes, which are pairs of number and change, and where each stands in it: triples of
    start, end, numbers."""
    nodes = {}

    def add(start, end, number, text, change):
        node = nodes.setdefault((start, end, change.is_statement), Node(start, end, change.is_statement))
        node.is_condition |= change.is_condition
        node.is_constexpr |= change.is_constexpr
        node.arms.append((number, text))

    for number, change in numbered:
        add(change.start, change.end, number, change.text, change)
        if change.other:
            start, end, text = change.other
            add(start, end, number, text, change)

    # A statement is larger than the expression that it is made of, by its semicolon.
    root = Node(0, len(source.bytes), False)
    stack = [root]
    left_out = set()
    for node in sorted(nodes.values(), key=lambda one: (one.start, -one.end, not one.is_statement)):
        while stack[-1].end <= node.start:
            stack.pop()
        if node.end > stack[-1].end:
            left_out.update(number for number, _ in node.arms)
            continue
        stack[-1].children.append(node)
        stack.append(node)

    output = Output()
    replaced = replace_assertions(source, numbered)
    write_inside(source, root, output, replaced)
    return bytes(output.text), output.arms, left_out


def replace_assertions(source, numbered):
    """Where an assertion has to show the text of its condition as it was: pairs of a place and what is put there."""
    replaced = {}
    for start, end, name, condition in source.assertions:
        if any(start < change.start and change.end < end for _, change in numbered):
            text = " ".join(condition.split()).replace("\\", "\\\\").replace('"', '\\"')
            replaced[start] = (start + len(name) + 1, f'{name}_AS("{text}", ')
    return replaced


def write_plain(source, start, end, output, replaced):
    position = start
    for place in sorted(place for place in replaced if start <= place < end):
        behind, text = replaced[place]
        output.write(source.bytes[position:place])
        output.write(text)
        position = behind
    output.write(source.bytes[position:end])


def write_inside(source, node, output, replaced):
    position = node.start
    for child in node.children:
        write_plain(source, position, child.start, output, replaced)
        write_node(source, child, output, replaced)
        position = child.end
    write_plain(source, position, node.end, output, replaced)


def write_node(source, node, output, replaced):
    start = len(output.text)
    is_chosen = "::Mutation::IsAtRunTime" if node.is_constexpr else "::Mutation::Is"
    if not node.is_statement:
        output.write("(")
    for number, text in node.arms:
        begin = len(output.text)
        if node.is_statement:
            output.write(f"if ({is_chosen}({number})) {{ {text} }} else ")
        else:
            text = f"static_cast<bool>({text})" if node.is_condition else f"({text})"
            output.write(f"{is_chosen}({number}) ? {text} : ")
        output.arms.append((begin, len(output.text), [number]))
    if node.is_statement:
        output.write("{ ")
        write_inside(source, node, output, replaced)
        output.write(" }")
    else:
        output.write("static_cast<bool>(" if node.is_condition else "(")
        write_inside(source, node, output, replaced)
        output.write("))")
    output.arms.append((start, len(output.text), [number for number, _ in node.arms]))
