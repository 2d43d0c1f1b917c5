// XRSA: RSA key pairs and short encrypted strings, all carried as uppercase
// hexadecimal text (keys as their DER encoding, cipher texts as the raw RSA
// block), with RSA-OAEP over SHA-1 and MGF1. The functions keep no state and
// may run on any thread. They catch nothing: a malformed key or cipher text, a
// text too long for one block or a key file that cannot be opened raises the
// Crypto++ exception (a std::exception) through the caller.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// Makes a key pair of nKeyLength bits. strSeed is the entropy that the
// caller puts into the generator; the private key is the PKCS #8 form, the
// public key the X.509 subject public key form.
KVD_API void XfnGenerateRSAKey(DWORD nKeyLength, XString& strPrivateKey, XString& strPublicKey, XString strSeed);
// The same, with each key text written to its own file.
KVD_API void XfnGenerateRSAKeyFile(DWORD nKeyLength, XString strPrivateFile, XString strPublicFile, XString strSeed);

// Encrypts the GetLength() bytes of strText; the result is twice as long as
// the key's modulus is in bytes. Padding is random, so two encryptions of one
// text differ.
KVD_API XString XfnRSAEncryptStringByKey(XString strPublicKey, XString strText);
// The plain text up to its first NUL.
KVD_API XString XfnRSADecryptStringByKey(XString strPrivateKey, XString strCipherText);
// As the two above, with the key text read from a file.
KVD_API XString XfnRSAEncryptStringByKeyFile(XString strPublicFile, XString strText);
KVD_API XString XfnRSADecryptStringByKeyFile(XString strPrivateFile, XString strCipherText);

// A method choice that applications store and read back; the library itself
// never looks at it and gives its values no names.
enum CRYPTO_METHOD_T : int {};

extern KVD_API CRYPTO_METHOD_T g_cryptoMethod;
KVD_API CRYPTO_METHOD_T XfnGetCryptoMethod();
KVD_API void XfnSetCryptoMethod(CRYPTO_METHOD_T method);
