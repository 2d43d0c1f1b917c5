"""An independent RSA-OAEP-SHA1 peer: rsa_peer.py encrypt|decrypt|public OUTPUT ARGS...

Key files hold DER as hexadecimal text; cipher texts are uppercase hexadecimal.
"""
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding

OAEP = padding.OAEP(mgf=padding.MGF1(algorithm=hashes.SHA1()), algorithm=hashes.SHA1(), label=None)


def read_hex(path):
    with open(path, "r", encoding="ascii") as f:
        return bytes.fromhex(f.read().strip())


def public_text(key):
    der = key.public_bytes(serialization.Encoding.DER, serialization.PublicFormat.SubjectPublicKeyInfo)
    return der.hex().upper()


def main(argv):
    op, out = argv[1], argv[2]
    if op == "encrypt":
        key = serialization.load_der_public_key(read_hex(argv[3]))
        with open(argv[4], "rb") as f:
            result = key.encrypt(f.read(), OAEP).hex().upper().encode()
    elif op == "decrypt":
        key = serialization.load_der_private_key(read_hex(argv[3]), password=None)
        with open(argv[4], "r", encoding="ascii") as f:
            result = key.decrypt(bytes.fromhex(f.read().strip()), OAEP)
    elif op == "public":
        key = serialization.load_der_private_key(read_hex(argv[3]), password=None)
        result = public_text(key.public_key()).encode()
    else:
        raise SystemExit("unknown operation " + op)
    with open(out, "wb") as f:
        f.write(result)


if __name__ == "__main__":
    main(sys.argv)
