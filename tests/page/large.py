"""A scenario of thousands of VLANs on several ports over an hour, the same for the same seed.

Usage: large.py [VLANs [ports [seconds [seed]]]] >large.jsonl, to be replayed with --leave-all-time 600
"""

import json
import random
import sys

PERIOD = 600


def frame(port, first, event, count):
    """An MVRP frame with `count` equal events from VLAN `first` on."""
    events = bytes([event * 36 + event * 6 + event] * (count // 3))
    if count % 3:
        events += bytes([event * 36 + (event * 6 if count % 3 == 2 else 0)])
    header = bytes.fromhex("0180c2000021") + bytes([2, 0, 0, 0, 1, port]) + bytes.fromhex("88f5")
    vector = count.to_bytes(2, "big") + first.to_bytes(2, "big") + events
    return (header + bytes([0, 1, 2]) + vector + bytes(4)).hex()


def lines(vlans=4094, ports=8, seconds=3600, seed=1):
    draw = random.Random(seed)
    join, leave = 1, 5
    actions = []

    def put(at, port, first, event, count):
        actions.append((at, {"at": at, "do": "frame", "port": f"port{port}",
                             "hex": frame(port, first, event, count)}))

    for port in range(1, ports + 1):
        # All of them at first, and again whenever they are asked for.
        for start in range(0, seconds, PERIOD):
            put(start + 0.25 + port / 100, port, 1, join, vlans)
        at = 1.0
        while at < seconds - 5:
            at = round(at + draw.uniform(2, 12), 3)
            if at % PERIOD < 2 or at % PERIOD > PERIOD - 4:
                continue
            count = draw.randint(1, min(30, vlans))
            first = draw.randint(1, vlans - count + 1)
            put(at, port, first, leave, count)
            if draw.random() < 0.6:
                put(round(at + draw.uniform(0.05, 3), 3), port, first, join, count)
    actions.sort(key=lambda action: action[0])
    return [json.dumps(action) for _, action in actions]


if __name__ == "__main__":
    print("\n".join(lines(*map(int, sys.argv[1:]))))
