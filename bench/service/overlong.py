"""Over-long requests against one server, for run-load.sh: a request line and a header line of
64 KiB each. Prints, as one JSON object, the status each is answered with and whether the server
closes the connection within a second of its answer (a keep-alive timeout is not what is asked).

  overlong.py HOST:PORT
"""
import asyncio
import json
import sys

PAD = "a" * 65536
REQUESTS = {
    "request_line": f"GET /check?id=P0001&version=1.0&format=json&pad={PAD} HTTP/1.1\r\n"
                    "Host: bench\r\n\r\n",
    "header": "GET /check?id=P0001&version=1.0&format=json HTTP/1.1\r\n"
              f"Host: bench\r\nX-Pad: {PAD}\r\n\r\n",
}
ANSWER_WAIT = 5
CLOSE_WAIT = 1


async def send(writer, data):
    # A server may answer and close before reading it all: then the rest cannot be sent.
    try:
        writer.write(data)
        await writer.drain()
    except OSError:
        pass


async def ask(host, port, request):
    reader, writer = await asyncio.open_connection(host, port)
    sending = asyncio.create_task(send(writer, request.encode()))
    result = {"status": None, "closed": False}
    try:
        line = await asyncio.wait_for(reader.readline(), ANSWER_WAIT)
        if line.startswith(b"HTTP/"):
            result["status"] = int(line.split()[1])
        loop = asyncio.get_running_loop()
        end = loop.time() + CLOSE_WAIT
        while line and loop.time() < end:
            line = await asyncio.wait_for(reader.read(65536), end - loop.time())
        result["closed"] = not line
    except asyncio.TimeoutError:
        pass
    except OSError:
        result["closed"] = True
    finally:
        sending.cancel()
        writer.close()
    return result


async def main():
    host, port = sys.argv[1].rsplit(":", 1)
    answers = {name: await ask(host, int(port), request) for name, request in REQUESTS.items()}
    print(json.dumps(answers))


asyncio.run(main())
