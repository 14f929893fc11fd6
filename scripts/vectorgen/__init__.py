"""The parts of scripts/make-vectors, one job each: the test signals (signals), the vector list
(catalogue), encoding with ffmpeg (encode), the raw data block syntax walker (block_syntax) and
the re-wrapping of ADTS streams into the other input kinds (rewrap)."""
