// UnzipFile.cpp: in progress.
