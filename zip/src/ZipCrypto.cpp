// ZipCrypto.cpp: in progress.
