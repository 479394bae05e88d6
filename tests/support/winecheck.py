"""What the host-side scripts that drive programs under Wine share: running one, and counting
checks. Each script ends with `sys.exit(finish())`."""
import subprocess

_counts = {"checks": 0, "failures": 0}


def windows(path):
    """The name under which Wine's programs see a host path (drive Z:)."""
    return "Z:" + path.replace("/", "\\")


def run_under(wine_run, build, args, encoding=None, stdin=b""):
    """Runs args (a program and its arguments) in the build's Wine prefix with stdin as its
    input; exit code, standard output and standard error, as bytes or decoded from encoding
    (qvtool writes UTF-8 into pipes, older console programs the ANSI code page, 1252, and
    reg.exe the OEM one, 437)."""
    done = subprocess.run([wine_run, build] + list(args), input=stdin, capture_output=True, timeout=120)
    if encoding is None:
        return done.returncode, done.stdout, done.stderr
    return done.returncode, done.stdout.decode(encoding, "replace"), done.stderr.decode(encoding, "replace")


def check(what, ok, detail=""):
    _counts["checks"] += 1
    if ok:
        print(f"ok   {what}")
    else:
        _counts["failures"] += 1
        print(f"FAIL {what}\n     {detail}")


def finish():
    """Prints the counts; the exit code: 1 when a check failed."""
    print(f"{_counts['checks'] - _counts['failures']} passed, {_counts['failures']} failed")
    return 1 if _counts["failures"] else 0
