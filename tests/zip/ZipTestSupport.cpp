// ZipTestSupport.cpp: in progress.
