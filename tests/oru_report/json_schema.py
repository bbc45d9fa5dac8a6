"""Checks JSON values against a schema; knows the keywords that the project's schemas use and refuses others."""
import re

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int, "null": type(None)}
NOTES = {"$schema", "title", "description", "$defs"}


def complaints(value, schema, root=None, where="$"):
    """Sentences about what is wrong; none for a valid value."""
    root = schema if root is None else root
    found = []
    for keyword, wanted in schema.items():
        if keyword in NOTES or keyword == "properties" or keyword == "items":
            continue
        if keyword == "$ref":
            target = root
            for part in wanted.removeprefix("#/").split("/"):
                target = target[part]
            found += complaints(value, target, root, where)
        elif keyword == "type":
            kinds = [TYPES[name] for name in (wanted if isinstance(wanted, list) else [wanted])]
            if not any(isinstance(value, kind) and (kind is not int or not isinstance(value, bool)) for kind in kinds):
                return found + [f"{where} is no {wanted}"]
        elif keyword == "oneOf":
            found += [] if sum(not complaints(value, part, root, where) for part in wanted) == 1 else [f"{where} is none of these"]
        elif keyword == "const":
            found += [] if value == wanted else [f"{where} is not {wanted!r}"]
        elif keyword == "enum":
            found += [] if value in wanted else [f"{where} is {value!r}"]
        elif keyword == "pattern":
            found += [] if not isinstance(value, str) or re.search(wanted, value) else [f"{where} is {value!r}"]
        elif keyword == "required":
            found += [f"{where} lacks {name}" for name in wanted if name not in value]
        elif keyword == "additionalProperties" and wanted is False:
            found += [f"{where} has {name}" for name in value if name not in schema["properties"]]
        else:
            raise ValueError(f"unknown keyword {keyword}")
    for name, part in schema.get("properties", {}).items():
        if name in value:
            found += complaints(value[name], part, root, f"{where}.{name}")
    for index, element in enumerate(value if "items" in schema else []):
        found += complaints(element, schema["items"], root, f"{where}[{index}]")
    return found
