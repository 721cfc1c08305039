"""What the machine must allow, found out once and first."""

import shutil
import subprocess

from runs import NAMESPACES, TRACE_CHECK

PROGRAMS = ["strace", "Xvfb", "setpriv", "prlimit", "taskset"]
# A user whom nothing here belongs to.
USER = 1000


class Rights:
    def __init__(self, folder):
        """Raises with one sentence about what the machine forbids."""
        for program in PROGRAMS:
            if shutil.which(program) is None:
                raise RuntimeError(f"{program} is missing; Scripts/setup test installs it.")
        self._demand("a mount namespace with a process namespace in it", ["true"])
        self._demand("following a process by ptrace, as strace does", ["strace", "-o", "/dev/null", "true"])
        # Where only a process that strace has started may be followed, root of a user namespace may follow others.
        trace_check = [TRACE_CHECK, "-o", "/dev/null", "--", "sh", "-c", "(exit 1); exit 0"]
        in_user_namespace = ["unshare", "--map-root-user"]
        self.trace_check = [TRACE_CHECK] if self._allows(trace_check) else [*in_user_namespace, TRACE_CHECK]
        self._demand("following a process that runs already by ptrace", [*self.trace_check, *trace_check[1:]])
        self._demand("mounting a tmpfs in a mount namespace", ["mount", "-t", "tmpfs", "none", folder])
        # In a user namespace of one user there is no other one, but root's rights can be given up there.
        as_user = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups"]
        without_rights = ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--securebits=+noroot"]
        self.has_other_user = self._allows([*as_user, "true"])
        self.unprivileged = as_user if self.has_other_user else without_rights
        self._demand("giving up root's rights by setpriv", [*self.unprivileged, "true"])

    @staticmethod
    def _allows(command):
        return subprocess.run([*NAMESPACES, *command], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0

    def _demand(self, right, command):
        if not self._allows(command):
            raise RuntimeError(f"This machine forbids {right}, which these runs need.")

    def get_unprivileged(self):
        """Commands that execute a program without rights."""
        return self.unprivileged

    def get_handover(self):
        """A shell line that gives the user without rights the folder of the run."""
        return f'chown {USER}:{USER} "$home"' if self.has_other_user else ":"
