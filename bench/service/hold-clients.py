"""Slow and idle clients against one server, for run-load.sh: holds SLOW connections that send a
request a byte a second and IDLE connections that send nothing, times a good client's check
while they are held, notes when the server closes each of them, and reads the server's peak
memory (VmHWM of PID and its child processes). Prints the figures as one JSON object.

  hold-clients.py HOST:PORT PID [--slow N] [--idle N] [--hold SECONDS] [--samples N]
"""
import argparse
import asyncio
import json
import pathlib
import resource
import time

REQUEST = b"GET /check?id=P0001&version=1.0&format=json HTTP/1.1\r\nHost: bench\r\n\r\n"
CONNECT_TIMEOUT = 10
ANSWER_TIMEOUT = 5  # a good check not answered by then counts as not answered


def peak_kb(pid):
    """VmHWM of pid and of its children (nginx's workers), in KiB."""
    def hwm(p):
        for line in pathlib.Path(f"/proc/{p}/status").read_text().splitlines():
            if line.startswith("VmHWM:"):
                return int(line.split()[1])
        return 0
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    return hwm(pid) + sum(hwm(c) for c in children)


async def until_closed(reader):
    """Returns once the server has closed the connection (answers are read and dropped)."""
    try:
        while await reader.read(65536):
            pass
    except OSError:
        pass


async def trickle(writer):
    """Sends the request, and the next one after it, one byte a second."""
    try:
        while True:
            for i in range(len(REQUEST)):
                writer.write(REQUEST[i:i + 1])
                await writer.drain()
                await asyncio.sleep(1)
    except OSError:
        pass


class Held:
    def __init__(self):
        self.open = 0
        self.failed = 0
        self.closed_after = []


async def hold(address, gate, held, slow):
    async with gate:
        try:
            reader, writer = await asyncio.wait_for(asyncio.open_connection(*address),
                                                    CONNECT_TIMEOUT)
        except (OSError, asyncio.TimeoutError):
            held.failed += 1
            return None
    start = time.monotonic()
    held.open += 1
    tasks = [asyncio.create_task(until_closed(reader))]
    if slow:
        tasks.append(asyncio.create_task(trickle(writer)))

    async def watch():
        try:
            await asyncio.wait(tasks, return_when=asyncio.FIRST_COMPLETED)
            held.closed_after.append(time.monotonic() - start)
        finally:
            held.open -= 1
            for task in tasks:
                task.cancel()
            writer.close()
    return asyncio.create_task(watch())


async def good_check(address):
    start = time.monotonic()
    reader, writer = await asyncio.open_connection(*address)
    try:
        writer.write(REQUEST)
        head = await reader.readuntil(b"\r\n\r\n")
        length = 0
        for line in head.decode("latin-1").split("\r\n"):
            if line.lower().startswith("content-length:"):
                length = int(line.split(":", 1)[1])
        await reader.readexactly(length)
        return (time.monotonic() - start) * 1000
    finally:
        writer.close()


async def sample(address, delay, slow, idle):
    await asyncio.sleep(delay)
    held = slow.open + idle.open
    try:
        ms = await asyncio.wait_for(good_check(address), ANSWER_TIMEOUT)
    except (OSError, asyncio.TimeoutError, asyncio.IncompleteReadError):
        ms = None
    return ms, held


def closing(held, total, window):
    times = sorted(held.closed_after)
    return {"connections": total, "connected": total - held.failed, "closed": len(times),
            "first_closed_s": round(times[0], 2) if times else None,
            "last_closed_s": round(times[-1], 2) if times else None,
            "window_s": window}


async def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("address")
    parser.add_argument("pid", type=int)
    parser.add_argument("--slow", type=int, default=1000)
    parser.add_argument("--idle", type=int, default=1000)
    parser.add_argument("--hold", type=float, default=30)
    parser.add_argument("--samples", type=int, default=8)
    args = parser.parse_args()
    host, port = args.address.rsplit(":", 1)
    address = (host, int(port))

    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    gate = asyncio.Semaphore(200)  # connects at once: more only fill the listen queue
    slow, idle = Held(), Held()
    watchers = await asyncio.gather(*[hold(address, gate, slow, True) for _ in range(args.slow)],
                                    *[hold(address, gate, idle, False) for _ in range(args.idle)])
    watchers = [w for w in watchers if w is not None]
    deadline = time.monotonic() + args.hold
    # The samples start once every connection is held, half a second apart.
    samples = await asyncio.gather(*[sample(address, 0.5 * (i + 1), slow, idle)
                                     for i in range(args.samples)])
    while slow.open + idle.open > 0 and time.monotonic() < deadline:
        await asyncio.sleep(0.2)
    peak = peak_kb(args.pid)
    for watcher in watchers:
        watcher.cancel()
    await asyncio.gather(*watchers, return_exceptions=True)

    answered = [ms for ms, _ in samples if ms is not None]
    print(json.dumps({
        "good_ms": [None if ms is None else round(ms, 2) for ms, _ in samples],
        "good_timeout_s": ANSWER_TIMEOUT,
        "good_worst_ms": round(max(answered), 2) if len(answered) == len(samples) else None,
        "held_at_samples_min": min(held for _, held in samples),
        "slow": closing(slow, args.slow, args.hold),
        "idle": closing(idle, args.idle, args.hold),
        "peak_kb": peak,
    }))


if __name__ == "__main__":
    asyncio.run(main())
