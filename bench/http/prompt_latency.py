#!/usr/bin/env python3
"""Latency of korvan's interactive prompt, idle and while its connector is loaded.

Runs korvan under a pseudo-terminal (so it shows its prompt ">> ") with KORVAN_PREFDIR set to
the settings folder given, and measures, for each of N statements `x = 1 + 1; disp(<k>)`,
the time from writing the line to seeing its answer line and the next prompt. Prints p50, p95,
p99 and max in milliseconds.

With --port, the prompt first starts a connector on that port (`c = restFunctionConnector();
c.Port = <port>; start(c)`), reads its token, and the samples are taken twice: idle, then
while the load command given after "--" runs (started with KORVAN_BENCH_TOKEN set to the
connector's token, stopped with SIGINT once the samples are taken; its output is printed).

    prompt_latency.py KORVAN PREFDIR [--samples 200] [--interval 0.02] [--port P]
                      [--warmup 1] [--timeout 180] [-- LOAD COMMAND ...]

korvan and the load are stopped when the tool ends, on an error, SIGINT or SIGTERM; the whole
run is bounded by --timeout. Standard library only (scripts/bench-http, part "prompt").
"""

import argparse
import ctypes
import math
import os
import pty
import select
import signal
import subprocess
import sys
import time

PROMPT = b">> "
PR_SET_PDEATHSIG = 1


class Failure(Exception):
    pass


def die_with_parent():
    """In a child before exec: SIGKILL when this tool ends, however it ends."""
    try:
        ctypes.CDLL(None, use_errno=True).prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    except (OSError, AttributeError):
        pass


def on_signal(signum, _frame):
    # once: a second signal (Ctrl-C, then the script's SIGTERM) must not cut the cleanup short
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    raise KeyboardInterrupt(f"signal {signum}")


class Prompt:
    """korvan at its prompt on a pseudo-terminal; every wait bounded by the run's deadline."""

    def __init__(self, korvan, prefdir, deadline):
        self.deadline = deadline
        self.buf = b""
        env = dict(os.environ, KORVAN_PREFDIR=prefdir)
        env.pop("KORVAN_REST_CONSENT", None)
        pid, fd = pty.fork()
        if pid == 0:  # child: korvan, ended by the kernel if this tool dies
            try:
                die_with_parent()
                os.chdir(prefdir)
                os.execve(korvan, [korvan], env)
            finally:
                os._exit(127)
        self.pid, self.fd = pid, fd

    def read_until(self, done, limit, what):
        """Reads output until done(buffer) gives a position; returns the text up to there."""
        end = min(time.monotonic() + limit, self.deadline)
        while True:
            pos = done(self.buf)
            if pos is not None:
                text, self.buf = self.buf[:pos], self.buf[pos:]
                return text
            left = end - time.monotonic()
            if left <= 0:
                raise Failure(f"no {what} within {limit:g} s; korvan wrote: {self.buf[-400:]!r}")
            ready, _, _ = select.select([self.fd], [], [], left)
            if ready:
                try:
                    chunk = os.read(self.fd, 65536)
                except OSError:
                    chunk = b""
                if not chunk:
                    raise Failure(f"korvan ended while waiting for {what}: {self.buf[-400:]!r}")
                self.buf += chunk

    def wait_prompt(self, limit=30):
        def at_prompt(buf):
            # the last prompt drawn, with nothing after it
            return len(buf) if buf.endswith(PROMPT) else None
        return self.read_until(at_prompt, limit, "prompt")

    def run(self, line, limit=60):
        """Runs one line; returns what it printed (the echoed line left out)."""
        self.buf = b""
        os.write(self.fd, line.encode() + b"\n")
        text = self.wait_prompt(limit).decode(errors="replace")
        # after the echo of the whole line (a redraw may have repeated part of it before)
        at = text.find(line + "\r\n")
        text = text[at + len(line) + 2:] if at >= 0 else text
        if "Error (" in text:
            raise Failure(f"{line!r} failed: {text.strip()}")
        return text.replace("\r\x1b[K", "").replace(PROMPT.decode(), "").strip()

    def settle(self, quiet=0.3, limit=10):
        """Reads until korvan has written nothing for `quiet` seconds (redraws after posted
        work), so that the next line starts on a fresh prompt."""
        end = min(time.monotonic() + limit, self.deadline)
        while time.monotonic() < end:
            if not select.select([self.fd], [], [], quiet)[0]:
                return
            try:
                chunk = os.read(self.fd, 65536)
            except OSError:
                chunk = b""
            if not chunk:
                raise Failure("korvan ended")
            self.buf += chunk

    def sample(self, k):
        """Seconds from writing a statement to its answer line and the next prompt."""
        answer = f"\r\n{1000 + k}\r\n".encode()

        def answered(buf):
            at = buf.find(answer)
            if at < 0:
                if b"Error (" in buf:
                    raise Failure(f"the statement failed: {buf[-400:]!r}")
                return None
            at = buf.find(PROMPT, at + len(answer))
            return None if at < 0 else at + len(PROMPT)

        self.buf = b""
        start = time.perf_counter()
        os.write(self.fd, f"x = 1 + 1; disp({1000 + k})\n".encode())
        self.read_until(answered, 10, f"answer to sample {k}")
        return time.perf_counter() - start

    def close(self):
        """exit(0) and a short wait, so the connector and its workers stop in order; then
        SIGKILL (the workers follow korvan: their parent-death signal)."""
        try:
            if os.waitpid(self.pid, os.WNOHANG)[0] == 0:
                try:  # Ctrl-C ends whatever runs or was typed; then a fresh prompt
                    os.write(self.fd, b"\x03")
                    self.settle(quiet=0.3, limit=2)
                    os.write(self.fd, b"exit(0)\n")
                except (OSError, Failure):
                    pass
                end = time.monotonic() + 5
                while os.waitpid(self.pid, os.WNOHANG)[0] == 0:
                    if time.monotonic() > end:
                        os.kill(self.pid, signal.SIGKILL)
                        os.waitpid(self.pid, 0)
                        break
                    try:  # keep the terminal drained so korvan never blocks writing
                        if select.select([self.fd], [], [], 0.05)[0]:
                            os.read(self.fd, 65536)
                    except OSError:
                        time.sleep(0.05)
        except ChildProcessError:
            pass
        finally:
            try:
                os.close(self.fd)
            except OSError:
                pass


def tree_ticks(pid):
    """CPU clock ticks (user + system) of a process and its children (the function workers)."""
    total, pids = 0, [pid]
    try:
        for tid in os.listdir(f"/proc/{pid}/task"):
            with open(f"/proc/{pid}/task/{tid}/children") as f:
                pids += [int(p) for p in f.read().split()]
    except OSError:
        pass
    for p in pids:
        try:
            with open(f"/proc/{p}/stat") as f:
                fields = f.read().rsplit(")", 1)[1].split()
            total += int(fields[11]) + int(fields[12])
        except (OSError, IndexError, ValueError):
            pass
    return total


def measure(prompt, samples, interval):
    times = []
    for k in range(samples):
        times.append(prompt.sample(k))
        time.sleep(interval)
    return times


def summary(label, times):
    ordered = sorted(t * 1000 for t in times)

    def rank(q):  # nearest-rank percentile
        return ordered[max(0, math.ceil(q * len(ordered)) - 1)]

    return (f"{label:<6} {len(ordered):7d} {rank(0.50):8.2f} {rank(0.95):8.2f} "
            f"{rank(0.99):8.2f} {ordered[-1]:8.2f}")


def stop_load(load):
    if load.poll() is None:
        load.send_signal(signal.SIGINT)  # wrk prints its summary on SIGINT
        try:
            load.wait(10)
        except subprocess.TimeoutExpired:
            load.kill()
            load.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0],
                                     usage="%(prog)s KORVAN PREFDIR [options] [-- LOAD COMMAND ...]")
    parser.add_argument("korvan")
    parser.add_argument("prefdir")
    parser.add_argument("--samples", type=int, default=200)
    parser.add_argument("--interval", type=float, default=0.02, help="seconds between samples")
    parser.add_argument("--port", type=int, help="start a connector on this port first")
    parser.add_argument("--warmup", type=float, default=1.0,
                        help="seconds of load before the loaded samples")
    parser.add_argument("--timeout", type=float, default=180, help="bound of the whole run")
    argv = sys.argv[1:]
    split = argv.index("--") if "--" in argv else len(argv)
    args = parser.parse_args(argv[:split])
    load_cmd = argv[split + 1:]
    if load_cmd and args.port is None:
        parser.error("a load command needs --port")
    if args.samples < 1:
        parser.error("--samples must be at least 1")

    signal.signal(signal.SIGINT, on_signal)
    signal.signal(signal.SIGTERM, on_signal)
    deadline = time.monotonic() + args.timeout
    prompt = load = None
    try:
        prompt = Prompt(os.path.abspath(args.korvan), os.path.abspath(args.prefdir), deadline)
        prompt.wait_prompt()
        token = None
        if args.port is not None:
            prompt.run(f"c = restFunctionConnector(); c.Port = {args.port}; start(c)")
            prompt.settle()
            status = prompt.run("disp(c.Status)")
            if status != "running":
                raise Failure(f"the connector is '{status}', not running")
            token = prompt.run("disp(c.RESTPersonalAccessToken)")
            print(f"# prompt korvan {prompt.pid}: connector on port {args.port}", flush=True)

        print(f"# prompt latency: ms from writing a line to its answer and the next prompt;"
              f" {args.samples} samples {args.interval * 1000:g} ms apart", flush=True)
        print(f"{'state':<6} {'samples':>7} {'p50_ms':>8} {'p95_ms':>8} {'p99_ms':>8}"
              f" {'max_ms':>8}", flush=True)
        print(summary("idle", measure(prompt, args.samples, args.interval)), flush=True)
        if not load_cmd:
            return 0

        env = dict(os.environ, KORVAN_BENCH_TOKEN=token)
        load = subprocess.Popen(load_cmd, env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, preexec_fn=die_with_parent)
        time.sleep(args.warmup)
        if load.poll() is not None:
            raise Failure(f"the load ended at once: {load.stdout.read().decode(errors='replace')}")
        ticks, started = tree_ticks(prompt.pid), time.monotonic()
        times = measure(prompt, args.samples, args.interval)
        busy = (tree_ticks(prompt.pid) - ticks) / os.sysconf("SC_CLK_TCK")
        busy /= time.monotonic() - started
        if load.poll() is not None:
            raise Failure("the load ended before the samples were taken")
        stop_load(load)
        print(summary("load", times), flush=True)
        output = load.stdout.read().decode(errors="replace").strip()
        # wrk with bench/http's scripts: its one summary line; any other command: everything
        summary_lines = [l for l in output.splitlines() if l.startswith("BENCH ")]
        output = " / ".join(summary_lines) if summary_lines else output
        print(f"# during the load korvan and its workers used {busy * 100:.0f}% of one core;"
              f" load: {output}", flush=True)
        return 0
    except Failure as e:
        print(f"prompt_latency: {e}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("prompt_latency: interrupted", file=sys.stderr)
        return 130
    finally:
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        if load is not None:
            stop_load(load)
        if prompt is not None:
            prompt.close()


if __name__ == "__main__":
    sys.exit(main())
