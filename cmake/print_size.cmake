# Prints the size of FILE, the library as it is copied to the device.
file(SIZE ${FILE} size)
message("libKestrix.so, stripped: ${size} bytes")
