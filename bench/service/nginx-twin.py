"""nginx as orvservice's twin for run-load.sh: a configuration that answers every check of the
catalog with the bytes orvservice answers for it, and a check that the two agree.

  nginx-twin.py conf CATALOG ORVSERVICE_URL NGINX_DIR WORKERS   writes NGINX_DIR/nginx.conf,
                                                                 prints the port it listens on
  nginx-twin.py verify ORVSERVICE_URL NGINX_URL OBJECTS         compares a sample, fails on a
                                                                 difference
"""
import http.client
import json
import random
import socket
import sys
import urllib.parse

VERSIONS = ["1.0", "2.0", "2.1-beta", "0.5"]  # as spread.lua asks
CONTENT_TYPE = "application/json; charset=utf-8"
# orvservice writes the Host it was asked for into an update's url; fetched with this one, that
# part of the answer becomes nginx's $http_host, so the bytes agree whatever Host a client sends.
MARK_HOST = "orv-bench-mark"


def check_path(object_id, version):
    return f"/check?id={object_id}&version={version}&format=json"


def fetch(connection, path, host):
    connection.request("GET", path, headers={"Host": host})
    response = connection.getresponse()
    return response.status, response.getheader("Content-Type"), response.read()


def connect(url):
    parts = urllib.parse.urlsplit(url)
    return http.client.HTTPConnection(parts.hostname, parts.port, timeout=10), parts.netloc


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def nginx_string(text):
    if "$" in text or "\\" in text or "'" in text:
        sys.exit(f"nginx-twin.py: cannot quote {text!r} for nginx")
    return "'" + text.replace("://" + MARK_HOST + "/", "://$http_host/") + "'"


def conf(catalog, url, folder, workers):
    ids = [o["id"] for o in json.load(open(catalog))["objects"]]
    connection, _ = connect(url)
    entries = []
    for object_id in ids:
        for version in VERSIONS:
            status, content_type, body = fetch(connection, check_path(object_id, version),
                                               MARK_HOST)
            if status != 200 or content_type != CONTENT_TYPE:
                sys.exit(f"nginx-twin.py: orvservice answered {status} {content_type} for "
                         f"{object_id} {version}")
            entries.append(f"        \"{object_id} {version} json\" "
                           f"{nginx_string(body.decode())};")
    port = free_port()
    temp = "\n".join(f"    {kind}_temp_path {folder}/temp/{kind};"
                     for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    text = f"""# Made by bench/service/nginx-twin.py for run-load.sh.
worker_processes {workers};
pid {folder}/nginx.pid;
error_log {folder}/error.log warn;
daemon off;
events {{
    # The 2,000 held clients may all come to one worker; descriptors as run-load.sh's ulimit -n.
    worker_connections 4096;
}}
http {{
    access_log off;
{temp}
    # As orvservice: a connection serves up to 1,000 requests and waits 5 s for the next one.
    keepalive_timeout 5s;
    keepalive_requests 1000;
    # The whole request header within 10 s, which also closes a connection that sends nothing.
    client_header_timeout 10s;
    map_hash_max_size 16384;
    map "$arg_id $arg_version $arg_format" $orv_answer {{
        default "";
{chr(10).join(entries)}
    }}
    server {{
        listen 127.0.0.1:{port};
        location = /check {{
            default_type "{CONTENT_TYPE}";
            if ($orv_answer = "") {{
                return 404;
            }}
            return 200 $orv_answer;
        }}
    }}
}}
"""
    with open(f"{folder}/nginx.conf", "w") as f:
        f.write(text)
    print(port)


def verify(orv_url, nginx_url, objects):
    orv, host = connect(orv_url)
    nginx, _ = connect(nginx_url)
    rng = random.Random(7)
    sample = [(f"P{rng.randrange(objects):04d}", version)
              for version in VERSIONS for _ in range(25)]
    for object_id, version in sample:
        path = check_path(object_id, version)
        # The same Host to both, as a client that knows one address would send.
        ours, theirs = fetch(orv, path, host), fetch(nginx, path, host)
        if ours != theirs:
            sys.exit(f"nginx-twin.py: nginx answers {path} differently:\n  orvservice {ours}\n"
                     f"  nginx      {theirs}")
    print(f"nginx-twin.py: nginx answers {len(sample)} sampled checks byte for byte as "
          "orvservice")


if __name__ == "__main__":
    if sys.argv[1] == "conf":
        conf(sys.argv[2], sys.argv[3], sys.argv[4], int(sys.argv[5]))
    else:
        verify(sys.argv[2], sys.argv[3], int(sys.argv[4]))
