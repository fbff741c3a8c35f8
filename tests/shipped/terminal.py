"""Shells in a terminal, in which a line is typed and completed as a person would."""

import contextlib
import os
import re
import shlex
import shutil

from pages import ROOT

try:
    import pexpect
except ImportError:
    pexpect = None

COMPLETIONS = ROOT / "completions"
SYSTEM_COMPLETIONS = "/usr/share/bash-completion/bash_completion"
BASH = ["/bin/bash", "--norc", "--noprofile", "-i"]
ZSH = ["/usr/bin/zsh", "-f", "-i"]
# Ctrl-X and Ctrl-T complete as the tab key does, Ctrl-X and Ctrl-A with all that fits. Both then
# show the line as the shell has it. zsh is not told that its display is spoilt (zle -I): it would
# hand the terminal back meanwhile, which would take the next line's keys for its own.
BASH_KEYS = r"""
bind 'set enable-bracketed-paste off'; bind 'set bell-style none'
bind -x '"\C-x\C-s": printf "\n{{%s}}\n" "$READLINE_LINE"'
bind '"\C-x\C-t": "\t\C-x\C-s"'; bind '"\C-x\C-a": "\e*\C-x\C-s"'
"""
ZSH_KEYS = f"""
fpath=({shlex.quote(str(COMPLETIONS))} $fpath); autoload -Uz compinit; compinit -D -u; unsetopt beep
show() {{ print -r -- "{{{{$BUFFER}}}}"; }}
complete_word() {{ zle complete-word; show; }}
insert_all() {{ compstate[insert]=all; compstate[list]=; }}
complete_all() {{ comppostfuncs=(insert_all); zle complete-word; show; }}
zle -N complete_word; zle -N complete_all
bindkey -e; bindkey '^X^T' complete_word; bindkey '^X^A' complete_all
"""
LOADED = f"{BASH_KEYS}. {shlex.quote(str(COMPLETIONS / 'avmanager.bash'))}\n"
SHELLS = {
    "bash": (BASH, LOADED),
    "bash, other settings": (BASH, f"{LOADED}set -fu; shopt -s failglob nullglob dotglob"),
    "bash-completion": (BASH, f"{BASH_KEYS}. {SYSTEM_COMPLETIONS}"),
    "zsh": (ZSH, ZSH_KEYS),
}
COMPLAINT = re.compile(r"\b(bash|zsh|_avmanager\w*): |not found|no match|No such|unbound")


def missing(shell):
    """The packages that a shell needs and this machine lacks."""
    needed = {"python3-pexpect": pexpect is not None,
              "zsh": shell != "zsh" or shutil.which(ZSH[0]) is not None,
              "bash-completion": shell != "bash-completion" or os.path.exists(SYSTEM_COMPLETIONS)}
    return [package for package, there in needed.items() if not there]


class Terminal:
    def __init__(self, shell, home):
        """Starts a shell whose home and working folder is `home`."""
        command, setup = SHELLS[shell]
        # Where bash-completion looks for what it loads by the command's name.
        loaded = home / ".local/share/bash-completion/completions"
        loaded.mkdir(parents=True)
        (loaded / "avmanager").symlink_to(COMPLETIONS / "avmanager.bash")
        self.process = pexpect.spawn(
            command[0], command[1:], cwd=str(home), dimensions=(50, 4000), encoding="utf-8",
            timeout=30, echo=False, env={"HOME": str(home), "PATH": "/usr/bin:/bin", "PS1": "> ",
                                         "TERM": "dumb", "LANG": "C.UTF-8",
                                         "INPUTRC": "/dev/null"})
        self.process.delaybeforesend = None
        for line in (*setup.strip().splitlines(), "echo rea''dy"):
            self.process.sendline(line)
        self.process.expect("ready\r\n")

    def completed(self, text, how="\x14"):
        """The line after a text was typed and completed where it has a "|"."""
        before, _, after = text.partition("|")
        self.process.send("\x05\x15" + before + after + "\x02" * len(after) + "\x18" + how)
        self.process.expect(r"\{\{(.*)\}\}\r?\n")
        assert not COMPLAINT.search(self.process.before), self.process.before
        return self.process.match[1]

    def offered(self, text):
        """All that fits the last word of a text, each without what stays before its value."""
        known = len(words_of(text)) - (not text.endswith(" "))
        value = re.match("--[a-z-]+=|", words_of(text)[-1])[0]
        found = words_of(self.completed(text, how="\x01"))[known:]
        return sorted(word.removeprefix(value) for word in found)

    def close(self):
        self.process.close(force=True)


def words_of(line):
    """The words of a line, as the shell would hand them to a program. A quote may be open."""
    for end in ("", "'", '"'):
        with contextlib.suppress(ValueError):
            return shlex.split(line + end)
    raise ValueError(line)
