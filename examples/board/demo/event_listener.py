#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""An event subscriber: receives one event over HTTP, prints it, and fails when the document is not the expected one.

The first line printed is "ready PORT". Fails after a minute without an event.
"""

import json
import socketserver
import sys
from datetime import datetime
from http.server import BaseHTTPRequestHandler

PATIENCE = 60  # seconds; emulated senders on a busy machine are slow

DOCUMENT = {
    "@odata.context": str,
    "@odata.id": str,
    "@odata.type": str,
    "Id": str,
    "Name": str,
    "Context": str,
    "Events": list,
}
EVENT = {
    "EventType": str,
    "EventId": str,
    "Severity": str,
    "EventTimestamp": str,
    "Message": str,
    "MessageId": str,
    "MessageArgs": list,
    "OriginOfCondition": list,
    "Oem": list,
}


def require(is_right, problem):
    if not is_right:
        raise ValueError(problem)


def check_properties(what, value, properties):
    require(isinstance(value, dict), f"{what} is no object")
    require(value.keys() == properties.keys(), f"properties of {what}: {', '.join(value)}")
    for name, kind in properties.items():
        require(isinstance(value[name], kind), f"{name} of {what} is no {kind.__name__}")
    return f"{what}: {len(value)} required properties"


def describe(body):
    document = json.loads(body)
    yield check_properties("document", document, DOCUMENT)
    require(document["@odata.id"].endswith("/" + document["Id"]), "@odata.id and Id differ")
    require(len(document["Events"]) == 1, f"{len(document['Events'])} events")
    event = document["Events"][0]
    yield check_properties("event", event, EVENT)
    time = datetime.fromisoformat(event["EventTimestamp"])
    require(time.tzinfo is not None, "the time has no zone")
    yield f"{document['@odata.type']} {document['Id']} for {document['Context']}"
    yield f"{time:%d %B %Y %H:%M:%S} {event['EventType']}, {event['Severity']}: {event['Message']}"
    yield f"{event['MessageId']} {json.dumps(event['OriginOfCondition'])} {json.dumps(event['Oem'])}"


class Subscriber(BaseHTTPRequestHandler):
    timeout = PATIENCE

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        print(self.path, self.headers["Content-Type"], self.headers["X-Auth-Token"])
        try:
            for line in describe(body):
                print(line)
            self.server.is_content = True
        except ValueError as problem:
            print("refused:", problem)
        self.send_response(204 if self.server.is_content else 400)
        self.end_headers()

    def log_message(self, *_):
        pass


with socketserver.TCPServer(("127.0.0.1", 0), Subscriber) as server:
    server.timeout = PATIENCE
    server.is_content = False
    print("ready", server.server_address[1], flush=True)
    server.handle_request()
    sys.exit(not server.is_content)
