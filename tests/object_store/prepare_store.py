"""Lays out the work directory of a one-node object store: ports, configuration, rings.

    prepare_store.py WORK_DIR ADDRESS ACCOUNT USER SECRET REGION

Run by object_store with the system's Python, which sees Debian's python3-swift. A directory that was laid out before
keeps its ports and rings, and with them its objects.
"""
import getpass
import json
import os
import random
import socket
import sys

SERVERS = ("proxy", "account", "container", "object", "memcached")

HEAD = """[DEFAULT]
bind_ip = {address}
bind_port = {port}
swift_dir = {work}/etc
user = {login}
workers = 0
log_level = INFO
"""

PROXY = """[pipeline:main]
pipeline = catch_errors gatekeeper healthcheck proxy-logging cache listing_formats bulk s3api tempauth copy slo dlo versioned_writes symlink proxy-server
[app:proxy-server]
use = egg:swift#proxy
account_autocreate = true
[filter:tempauth]
use = egg:swift#tempauth
user_{account}_{user} = {secret} .admin
[filter:s3api]
use = egg:swift#s3api
location = {region}
[filter:cache]
use = egg:swift#memcache
memcache_servers = {address}:{memcached}
[filter:versioned_writes]
use = egg:swift#versioned_writes
allow_object_versioning = true
"""

STORAGE = """devices = {work}/srv
mount_check = false
disable_fallocate = true
fallocate_reserve = 0
[pipeline:main]
pipeline = {kind}-server
[app:{kind}-server]
use = egg:swift#{kind}
"""

SWIFT = """[swift-hash]
swift_hash_path_prefix = local
swift_hash_path_suffix = store
[storage-policy:0]
name = only
default = yes
"""

PLAIN_FILTERS = ("catch_errors", "gatekeeper", "healthcheck", "proxy-logging", "listing_formats", "bulk", "copy",
                 "slo", "dlo", "symlink")


def check_attributes(work):
    """The object server keeps metadata in extended attributes."""
    probe = os.path.join(work, ".attribute-probe")
    with open(probe, "w", encoding="ascii"):
        pass
    try:
        os.setxattr(probe, "user.swift.probe", b"x" * 2048)
    except OSError as error:
        sys.exit(f"object_store: no extended attributes (user.*) in {work}: {error}; choose a folder on another "
                 "file system")
    finally:
        os.unlink(probe)


def pick_ports(address):
    """Free ports below the range of outgoing connections, so that a later start finds them free again."""
    sockets = []
    while len(sockets) < len(SERVERS):
        candidate = socket.socket()
        candidate.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            candidate.bind((address, random.randrange(20000, 32000)))
        except OSError:
            candidate.close()
            continue
        sockets.append(candidate)
    return {name: s.getsockname()[1] for name, s in zip(SERVERS, sockets)}


def load_ports(work, address):
    path = os.path.join(work, "ports.json")
    if not os.path.exists(path):
        with open(path, "w", encoding="ascii") as file:
            json.dump(pick_ports(address), file)
    with open(path, encoding="ascii") as file:
        return json.load(file)


def write(work, name, text):
    with open(os.path.join(work, "etc", name), "w", encoding="ascii") as file:
        file.write(text)


def write_configurations(work, ports, values):
    write(work, "swift.conf", SWIFT)
    for kind in SERVERS[:4]:
        values.update(kind=kind, port=ports[kind], memcached=ports["memcached"])
        text = (HEAD + (PROXY if kind == "proxy" else STORAGE)).format(**values)
        if kind == "proxy":
            for name in PLAIN_FILTERS:
                text += f"[filter:{name}]\nuse = egg:swift#{name.replace('-', '_')}\n"
        write(work, f"{kind}-server.conf", text)


def build_rings(work, ports, address):
    """Sixteen partitions, one device and one copy each."""
    from swift.common.ring import RingBuilder
    for kind in ("account", "container", "object"):
        path = os.path.join(work, "etc", f"{kind}.ring.gz")
        if os.path.exists(path):
            continue
        builder = RingBuilder(4, 1, 0)
        builder.add_dev({"region": 1, "zone": 1, "ip": address, "port": ports[kind], "device": "d1", "weight": 1.0,
                         "meta": "", "replication_ip": address, "replication_port": ports[kind]})
        builder.rebalance()
        builder.get_ring().save(path)


def main():
    work, address, account, user, secret, region = sys.argv[1:]
    for folder in ("etc", "srv/d1", "log", "run"):
        os.makedirs(os.path.join(work, folder), exist_ok=True)
    check_attributes(work)
    ports = load_ports(work, address)
    write_configurations(work, ports, {
        "work": work, "address": address, "account": account, "user": user, "secret": secret, "region": region,
        "login": getpass.getuser()})
    build_rings(work, ports, address)
    print(*[ports[name] for name in SERVERS])


main()
