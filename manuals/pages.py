"""What the templates of the pages have filled in: the part of a page that is told elsewhere already."""

import roff


def program(help_):
    return {"usage": roff.synopsis(help_), "about": roff.prose(help_.about), "options": roff.described(help_.options),
            "arguments": roff.described(help_.arguments)}


def tool(help_):
    """A program of commands. An option that all of them have is told once."""
    options = [leaf.options for leaf in help_.leaves()]
    common = [option for option in options[0] if all(option in others for others in options)]
    parts = "\n".join(command(part, common) for part in help_.parts)
    return program(help_) | {"overview": overview(help_), "common": roff.described(common), "commands": parts}


def overview(help_):
    return "\n".join(roff.tagged([roff.bold(entry.name)], [entry.meaning]) for entry in help_.commands)


def command(help_, common):
    """A section for the command; one more for each of its own commands."""
    own = [option for option in help_.options if option not in common] if not help_.parts else []
    text = [f'.SS {help_.way.split(" ", 1)[1]}', roff.synopsis(help_), roff.prose(help_.about),
            roff.described(own + help_.arguments), overview(help_)]
    return "\n".join([part for part in text if part] + [command(part, common) for part in help_.parts])


def settings(head, groups, remedies):
    return {"about": "\n".join(roff.prose(block.text) for block in head),
            "groups": "\n".join(group(name, blocks) for name, blocks in groups.items()),
            "remedies": "\n".join(roff.tagged([roff.bold(name)], [meaning + "."]) for name, meaning in remedies)}


def group(name, blocks):
    text = [f".SH [{name}]"]
    for block in blocks:
        tags = [roff.bold(key) for key in block.keys]
        text.append(roff.tagged(tags, block.text) if tags else roff.prose(block.text))
    return "\n".join(text)
