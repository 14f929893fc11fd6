"""HE-AAC test streams with random but valid SBR payloads (ISO/IEC 14496-3 4.4.2.8, 4.6.18),
made by scripts/sbr-streams: the SBR Huffman codebooks (codebooks), the frequency band tables
(freq_tables), the sbr_extension_data writer (payload), the random frame generator and its
presets (random_frames), the fill elements in the AAC-LC raw data blocks (insert), the input
kinds that carry them (containers) and the comparison of the two reference decoders
(reference_check). Music and speech streams come from a signal-driven SBR encoder (encoder, over
the 64-band QMF analysis of qmf_analysis and the full-rate signals of signals), whose decoded
high band highband compares with the original."""
