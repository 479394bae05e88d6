"""What the host-side scripts that drive programs under Wine share: running one, and counting
checks. Each script ends with `sys.exit(finish())`."""
import subprocess

_counts = {"checks": 0, "failures": 0}


def run_under(wine_run, build, args, encoding):
    """Runs args (a program and its arguments) in the build's Wine prefix; exit code, standard
    output and standard error decoded from encoding (qvtool writes UTF-8 into pipes, older console
    programs the ANSI code page, 1252, and reg.exe the OEM one, 437)."""
    done = subprocess.run([wine_run, build] + list(args), capture_output=True, timeout=120)
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
