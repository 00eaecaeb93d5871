"""What bash is told of a program: a case for each way to a command, made from the program's help."""

import re

# For "--settings" they take "-settings", too, as the daemon has it.
ONE_DASH_DOES = ["ravelinctl"]


def names(option):
    """Its long names, or else its short one."""
    every = re.findall(r"(?<!\S)-[\w-]+", option.name)
    return [name for name in every if len(name) > 2] or every


def value(option):
    """What stands for its value; empty if it takes none."""
    found = re.search(r" (?:<(.+)>|([A-Z]+))$", option.name)
    return (found[1] or found[2]).lower() if found else ""


def every_name(options):
    return " ".join(name for option in options for name in names(option))


def case(help_):
    first = [option for option in help_.options if help_.parts or "first word" in option.meaning]
    options = [option for option in help_.options if option not in first]
    arguments = help_.usage[0].partition("[options]")[2]
    variables = {
        "commands": " ".join(command.name for command in help_.commands),
        "first": every_name(first),
        "options": every_name(options),
        "one_dash": every_name(options).replace("--", "-") if help_.way.split()[0] in ONE_DASH_DOES else "",
        "with_file": every_name(option for option in options if "file" in value(option)),
        "with_value": every_name(option for option in options if value(option)),
        "argument": "file" if "FILE" in arguments else "",
    }
    body = " ".join(f"{name}='{text}'" for name, text in variables.items() if text)
    return "\n".join([f"    '{help_.way}')", f"        {body}", "        ;;", *(case(part) for part in help_.parts)])
