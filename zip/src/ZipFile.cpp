// ZipFile.cpp: in progress.
