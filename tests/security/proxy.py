"""The real nginx with a documented configuration, and the certificates for it."""
import contextlib
import subprocess

from harness import ROOT, running, wait_for


def openssl(*words):
    done = subprocess.run(["openssl", *[str(word) for word in words]], check=True, capture_output=True, text=True)
    return done.stdout.strip()


def make_certificates(folder):
    """An authority, and certificates by it for the server and one client; a second client made its own."""
    def key_and_request(name, subject):
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", folder / f"{name}.key", "-out", folder / f"{name}.csr",
                "-subj", f"/CN={subject}")
    for name in ("ca", "stranger"):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-keyout", folder / f"{name}.key", "-out",
                folder / f"{name}.crt", "-subj", f"/CN={name}")
    (folder / "names").write_text("subjectAltName=DNS:localhost,DNS:meters.example.com")
    for name in ("server", "client"):
        key_and_request(name, "localhost")
        openssl("x509", "-req", "-in", folder / f"{name}.csr", "-CA", folder / "ca.crt", "-CAkey", folder / "ca.key",
                "-CAcreateserial", "-days", "1", "-out", folder / f"{name}.crt", "-extfile", folder / "names")


@contextlib.contextmanager
def nginx(folder, example, replacements):
    """The real nginx with one of docs/examples, and these texts in it replaced; once it listens."""
    text = (ROOT / "docs/examples" / example).read_text()
    paths = "".join(f"{kind}_temp_path {folder}/{kind};" for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    for old, new in [*replacements, ("access_log off;", f"access_log off; {paths}")]:
        if old not in text:
            raise ValueError(f"{example} has no '{old}'")
        text = text.replace(old, str(new))
    (folder / "nginx.conf").write_text(text)
    (folder / "pid").unlink(missing_ok=True)
    with running(["/usr/sbin/nginx", "-p", folder, "-c", folder / "nginx.conf", "-e", "stderr", "-g",
                  f"daemon off; pid {folder}/pid;"]) as process:
        wait_for((folder / "pid").exists, "nginx starts")
        yield process
