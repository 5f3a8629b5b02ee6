// ZipDirectory.cpp: in progress.
