"""The Python side of fxaac's tests, shared by scripts/, tests/ and fuzz/: the test vector
manifest, ADTS frames, bit fields, WAV files, the reference decoders (ffmpeg, faad) and sample
comparison. Standard library only; imported by path, not installed:

    sys.path.insert(0, str(REPO / 'scripts'))
    from fxaac_harness import adts, manifest, ...
"""
