"""A real SMTP server for the transport tests, on Debian's aiosmtpd.

Usage: aiosmtpd_server.py MODE ENVELOPES [CERT KEY]
MODE is plain, starttls or tls. Listens on 127.0.0.1 at a port the system chooses,
prints "PORT <n>" on stdout once it accepts connections, and appends one JSON line per
accepted letter to ENVELOPES: {"from", "to", "data", "login"}. Recipients whose local
part starts with "refuse" are refused with 550. AUTH accepts the user "ivan" with the
password "Пароль". Runs until stdin closes.
"""
import asyncio
import json
import logging
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult


class Server(SMTP):
    # The client writes a letter's lines ended by a bare line feed; read it whole.
    line_length_limit = 1 << 26


class Handler:
    def __init__(self, path):
        self.path = path

    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if address.startswith("refuse"):
            return "550 5.1.1 <%s>: recipient refused" % address
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        login = session.auth_data.login.decode() if session.authenticated and session.auth_data else None
        with open(self.path, "a", encoding="utf-8") as f:
            f.write(json.dumps({"from": envelope.mail_from, "to": envelope.rcpt_tos,
                                "data": envelope.content.decode("utf-8", "replace"),
                                "login": login}) + "\n")
        return "250 2.0.0 Message accepted"


def authenticator(server, session, envelope, mechanism, auth_data):
    ok = auth_data.login == b"ivan" and auth_data.password == "Пароль".encode()
    return AuthResult(success=ok, handled=False, auth_data=auth_data)


async def main():
    # The tests read the envelopes; the server's own log (refused handshakes) is noise.
    logging.disable(logging.CRITICAL)
    mode, envelopes = sys.argv[1], sys.argv[2]
    context = None
    if mode != "plain":
        context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
        context.load_cert_chain(sys.argv[3], sys.argv[4])
    handler = Handler(envelopes)

    def factory():
        return Server(handler, authenticator=authenticator, auth_require_tls=False,
                      tls_context=context if mode == "starttls" else None,
                      require_starttls=mode == "starttls", data_size_limit=None)

    loop = asyncio.get_running_loop()
    server = await loop.create_server(factory, host="127.0.0.1", port=0,
                                      ssl=context if mode == "tls" else None)
    print("PORT", server.sockets[0].getsockname()[1], flush=True)
    # Ends when the test closes our stdin.
    await loop.run_in_executor(None, sys.stdin.read)
    server.close()


asyncio.run(main())
