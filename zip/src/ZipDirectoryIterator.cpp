// ZipDirectoryIterator.cpp: in progress.
