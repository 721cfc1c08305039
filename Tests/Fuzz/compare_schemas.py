#!/usr/bin/python3
"""Compares our verdict on random pairs of a schema and a document with that of python3-jsonschema (draft 4).

compare_schemas.py <SchemaVerdicts> [--seed N] [--count N] [--seconds N]

Half of the schemas are sensible: their verdicts must agree, and few of them may count as none, each for a reason that
is known. The others hold parts that make no sense, which the peer does not take: they must get a verdict in time.
"""

import argparse
import json
import random
import re
import select
import subprocess
import sys
import time

import jsonschema

# Few names and texts, so that schemas apply to documents. Without what the two interpret differently: numbers with a
# zero fraction (2.0), texts with a line end, and "\\w" for letters beyond ASCII.
NAMES = ["a", "b", "ab", "name", "á", "x-1", "", "0", "a/b", "~", "allOf", "pattern", "items", "required", "$ref",
         "dependencies", "properties", "enum", "not", "definitions", "a\0b", "\0"]
TEXTS = ["", "a", "b", "aa", "ab", "aab", "á", "áb", "日本", "\U0001F600", "x-1", "12", "-", "A_b", "{2}", "a b", "."]
PATTERNS = ["a", "^a", "a$", "^a$", "^á", "[áb]", "^.$", "^(a|b)*$", "(a*)*", "^(a*)*b", "^([A-Za-z]*-?)*$", "^a{2}$",
            "^a{1,2}$", "^(aa?){2,}$", "^[^a]+$", "^[a-c]?b+$", "日", "^[0-9]+$", "^$", "", "a|^b", "(^a|b$)", "x-[0-9]",
            "\\.", "^\\{2\\}$", "\\d", "^\\S*$", "\\u00e1", "^(a?){3}$", "(a|ab)(b|)$", "^(?:a|b)+?$", "[\\]a]"]
UNREADABLE = ["(", ")", "[", "*", "a**", "\\1", "(?=a)", "\\b", "a{2,1}", "[]", "{2}", "a{0}{1}"]
TYPES = ["null", "boolean", "object", "array", "string", "number", "integer"]
# Of the sensible schemas.
LARGEST_SHARE_OF_NONE = 0.05


class Generator:
    def __init__(self, seed):
        self.random = random.Random(seed)
        self.is_sensible = True

    def chance(self, probability):
        return self.random.random() < probability

    def some(self, make, least, most):
        return [make() for _ in range(self.random.randint(least, most))]

    def text(self):
        return self.random.choice(TEXTS + NAMES)

    def name(self):
        return self.random.choice(NAMES)

    def number(self):
        return self.random.choice([-3, -1, 0, 1, 2, 3, 4, 6, 10, 1.5, -0.5, 2**31, 2**53, -2**63, 2**64 - 1])

    def document(self, depth=3):
        kind = self.random.randrange(8 if depth > 0 else 5)
        if kind == 0:
            return self.random.choice([None, True, False])
        if kind in (1, 2):
            return self.number()
        if kind in (3, 4):
            return self.text()
        if kind == 5:
            return [self.document(depth - 1) for _ in range(self.random.randint(0, 4))]
        return {self.name(): self.document(depth - 1) for _ in range(self.random.randint(0, 5))}

    def neighbour(self, value):
        """The same value, or one that is another in little."""
        if isinstance(value, list) and value:
            index = self.random.randrange(len(value))
            return self.random.choice([value, value[::-1], value[1:], [value],
                                       value[:index] + [self.neighbour(value[index])] + value[index + 1:]])
        if isinstance(value, dict):
            name = self.random.choice(list(value) or NAMES)
            return self.random.choice([value, dict(reversed(value.items())), {**value, name: name},
                                       {other: value[other] for other in value if other != name},
                                       {value[name]: name} if isinstance(value.get(name), str) else {name: name},
                                       {**value, name: self.neighbour(value.get(name))}])
        return self.random.choice([value, value, self.document(1)])

    def senseless(self):
        return self.random.choice([None, True, False, 5, -1, 0.5, "", "x", "#", [], [[]], [True], [5, {}], {},
                                   {"a": True}, {"a": [5]}, {"$ref": "#/nowhere"}, {"$ref": 5}, "integer", ["no type"]])

    def schema(self, depth=3):
        if not self.is_sensible and self.chance(0.08):
            return self.senseless()
        if depth < 3 and self.chance(0.12):
            return {"$ref": self.reference()}
        schema = {}
        for _ in range(self.random.randint(0, 4)):
            keyword, value = self.keyword(depth - 1)
            schema[keyword] = self.senseless() if not self.is_sensible and self.chance(0.15) else value
        return schema

    def reference(self):
        if not self.is_sensible:
            return self.random.choice(["#", "#/definitions/one", "#/properties/a", "#/allOf/0", "#/nowhere", "#/items",
                                       "other.json#/a", "", "#no", "#/title", "#/anyOf", "#/definitions"])
        return self.random.choice(["#/definitions/one", "#/definitions/two"])

    def schemas(self, depth):
        return self.some(lambda: self.schema(depth), 1, 3)

    def keyword(self, depth):
        if depth <= 0 or self.chance(0.5):
            return self.random.choice(self.simple_keywords())()
        return self.random.choice(self.combining_keywords(depth))()

    def pattern(self):
        senseless = [*UNREADABLE, "(a?){200000}", "a{9999999}"]
        return self.random.choice(PATTERNS if self.is_sensible else PATTERNS + senseless)

    def simple_keywords(self):
        size = lambda: self.random.choice([0, 1, 2, 3, 4] * 10 + [2**32 - 1, 2**32, 2**64 - 1, 2**64])
        return [
            lambda: ("type", self.random.choice(TYPES)),
            lambda: ("type", self.random.sample(TYPES, self.random.randint(1, 3))),
            lambda: ("enum", self.some(lambda: self.document(2), 1, 4)),
            lambda: ("minimum", self.number()),
            lambda: ("maximum", self.number()),
            lambda: ("exclusiveMinimum", self.chance(0.5)),
            lambda: ("exclusiveMaximum", self.chance(0.5)),
            lambda: ("multipleOf", self.random.choice([1, 2, 3, 0.5])),
            lambda: ("minLength", size()),
            lambda: ("maxLength", size()),
            lambda: ("pattern", self.pattern()),
            lambda: ("minItems", size()),
            lambda: ("maxItems", size()),
            lambda: ("uniqueItems", self.chance(0.8)),
            lambda: ("minProperties", size()),
            lambda: ("maxProperties", size()),
            lambda: ("required", self.random.sample(NAMES, self.random.randint(1, 3))),
            lambda: ("additionalProperties", self.chance(0.3)),
            lambda: ("additionalItems", self.chance(0.3)),
        ]

    def combining_keywords(self, depth):
        schema = lambda: self.schema(depth)
        properties = lambda: {self.name(): schema() for _ in range(self.random.randint(0, 4))}
        dependency = lambda: schema() if self.chance(0.5) else self.random.sample(NAMES, self.random.randint(1, 2))
        return [
            lambda: ("allOf", self.schemas(depth)),
            lambda: ("anyOf", self.schemas(depth)),
            lambda: ("oneOf", self.schemas(depth)),
            lambda: ("not", schema()),
            lambda: ("properties", properties()),
            lambda: ("properties", properties()),
            lambda: ("patternProperties", {self.pattern(): schema() for _ in range(self.random.randint(0, 3))}),
            lambda: ("additionalProperties", schema()),
            lambda: ("dependencies", {self.name(): dependency() for _ in range(self.random.randint(0, 3))}),
            lambda: ("items", schema()),
            lambda: ("items", self.schemas(depth)),
            lambda: ("additionalItems", schema()),
        ]

    def write(self, value):
        """The text of a value. Some keys come again, with another value that counts for nothing."""
        if isinstance(value, list):
            return "[" + ", ".join(map(self.write, value)) + "]"
        if not isinstance(value, dict):
            return json.dumps(value)
        members = [(name, self.write(member)) for name, member in value.items()]
        for index in range(len(members), 0, -1):
            if self.chance(0.03):
                members.insert(self.random.randint(index, len(members)),
                               (members[index - 1][0], self.write(self.document(1))))
        return "{" + ", ".join(json.dumps(name) + ": " + member for name, member in members) + "}"

    def pair(self):
        self.is_sensible = self.chance(0.5)
        schema = self.schema()
        if isinstance(schema, dict):
            # Referenced schemas have no references themselves, so no sensible schema applies itself.
            schema["definitions"] = {"one": self.schema(1 if not self.is_sensible else 0),
                                     "two": {"type": self.random.choice(TYPES)}}
            if self.is_sensible:
                schema["definitions"]["one"] = {"not": {"type": self.random.choice(TYPES)}}
        if isinstance(schema, dict) and self.chance(0.2):
            value = self.document()
            if self.chance(0.5):
                return self.is_sensible, {**schema, "enum": [value]}, self.neighbour(value)
            return self.is_sensible, {**schema, "uniqueItems": True}, [value, self.neighbour(value)]
        return self.is_sensible, schema, self.document()


def is_found(pattern, text):
    """Texts are matched as far as their first zero byte."""
    return re.search(pattern, text.split("\0")[0]) is not None


def check_pattern(validator, pattern, instance, schema):
    if validator.is_type(instance, "string") and not is_found(pattern, instance):
        yield jsonschema.ValidationError("pattern")


def check_pattern_properties(validator, patterns, instance, schema):
    if validator.is_type(instance, "object"):
        for pattern, part in patterns.items():
            for name, value in instance.items():
                if is_found(pattern, name):
                    yield from validator.descend(value, part)


def check_additional_properties(validator, rest, instance, schema):
    patterns = schema.get("patternProperties", {})
    for name, value in instance.items() if validator.is_type(instance, "object") else []:
        # Beside patterns, a property whose name has a NUL byte must be valid as an additional one, too.
        is_known = name in schema.get("properties", {}) and not (patterns and rest is not False and "\0" in name)
        if is_known or any(is_found(pattern, name) for pattern in patterns):
            continue
        if rest is False:
            yield jsonschema.ValidationError("additionalProperties")
        elif rest is not True:
            yield from validator.descend(value, rest)


def check_additional_items(validator, rest, instance, schema):
    items = schema.get("items", {})
    if validator.is_type(instance, "array") and isinstance(items, list):
        for value in instance[len(items):]:
            if rest is False:
                yield jsonschema.ValidationError("additionalItems")
            elif rest is not True:
                yield from validator.descend(value, rest)


def get_identity(value):
    """The same for equal values alone: Python takes true for 1."""
    return json.dumps(value, sort_keys=True)


def check_enum(validator, values, instance, schema):
    if get_identity(instance) not in map(get_identity, values):
        yield jsonschema.ValidationError("enum")


def check_unique_items(validator, is_unique, instance, schema):
    if is_unique and validator.is_type(instance, "array"):
        if len(set(map(get_identity, instance))) < len(instance):
            yield jsonschema.ValidationError("uniqueItems")


# The peer, adapted where this library intentionally differs. By itself it ignores the empty property pattern, and it
# can't write the message for additional items of several types.
Peer = jsonschema.validators.extend(jsonschema.Draft4Validator, {
    "pattern": check_pattern, "patternProperties": check_pattern_properties,
    "additionalProperties": check_additional_properties, "additionalItems": check_additional_items,
    "enum": check_enum, "uniqueItems": check_unique_items})


def holds(value, is_it):
    """Whether a value, or one inside it, is an object of which that is true."""
    if isinstance(value, list):
        return any(holds(element, is_it) for element in value)
    return isinstance(value, dict) and (is_it(value) or any(holds(member, is_it) for member in value.values()))


def may_count_as_none(schema):
    """Whether the library would take a part that is no schema for a senseless one."""
    def is_senseless(part):
        dependencies = part.get("dependencies")
        return (not isinstance(part.get("patternProperties", {}), dict) or
                isinstance(dependencies, dict) and any(
                    isinstance(names, list) and not all(isinstance(name, str) for name in names)
                    for names in dependencies.values()))

    return holds(schema, is_senseless) or holds(
        schema, lambda part: holds(part.get("enum"), lambda value: "$ref" in value))


def ask(program, pair, seconds):
    program.stdin.write(pair + "\n")
    program.stdin.flush()
    if not select.select([program.stdout], [], [], seconds)[0]:
        return None
    return program.stdout.readline().rstrip("\n")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--seed", type=int, default=random.randrange(2**32))
    parser.add_argument("--count", type=int, default=2**62)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    options = parser.parse_args()
    print("seed", options.seed)
    generator = Generator(options.seed)
    program = subprocess.Popen([options.program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    end = time.monotonic() + options.seconds
    counts = {}
    sensible = none = 0
    for number in range(options.count):
        if time.monotonic() > end:
            break
        is_sensible, schema, document = generator.pair()
        pair = generator.write([schema, document])
        verdict = ask(program, pair, 20)
        if not verdict:
            print("no answer", program.poll(), pair)
            return 1
        if is_sensible:
            sensible += 1
        if is_sensible and verdict == "none":
            none += 1
            if not may_count_as_none(schema):
                print("counts as none", number, pair)
                return 1
        elif is_sensible:
            expected = Peer(schema).is_valid(document)
            if expected != (verdict == "valid"):
                print("differs", number, "expected", expected, "got", verdict, pair)
                return 1
        kind = ("sensible" if is_sensible else "senseless", "none" if verdict == "none" else verdict == "valid")
        counts[kind] = counts.get(kind, 0) + 1
    program.stdin.close()
    program.wait()
    for (kind, verdict), count in sorted(counts.items(), key=str):
        print(kind, {True: "valid", False: "invalid"}.get(verdict, verdict), count)
    if none > max(10, sensible * LARGEST_SHARE_OF_NONE):
        print("too many sensible schemas count as none")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
