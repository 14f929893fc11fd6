"""The test vectors that scripts/make-vectors writes: the ADTS streams that ffmpeg encodes and
the variants re-wrapped from them."""

NO_PNS = ['-aac_pns', '0']
NO_IS = ['-aac_is', '0']

# The ADTS vectors: name, signal, rate, channels, seconds, bit rate, encoder options.
ENCODES = [
    ('tone_8k_m',        'tone',      8000,  1, 2.0,  '16k',  NO_PNS),
    ('voice_8k_m',       'voice',     8000,  1, 2.5,  '12k',  NO_PNS + ['-aac_tns', '0']),
    ('chord_11k_s',      'chord',     11025, 2, 2.0,  '32k',  NO_PNS),
    ('voice_16k_m',      'voice',     16000, 1, 2.5,  '32k',  NO_PNS),
    ('clicks_16k_s',     'clicks',    16000, 2, 2.0,  '48k',  NO_PNS + NO_IS),
    ('castanets_22k_m',  'castanets', 22050, 1, 2.0,  '64k',  NO_PNS),
    ('sweep_22k_s',      'sweep',     22050, 2, 2.0,  '64k',  NO_PNS + NO_IS),
    ('clicks_24k_m',     'clicks',    24000, 1, 2.0,  '40k',  NO_PNS),
    ('chord_32k_s_lo',   'chord',     32000, 2, 2.0,  '24k',  NO_PNS),
    ('sweep_32k_m',      'sweep',     32000, 1, 2.5,  '64k',  NO_PNS),
    ('castanets_44k_s',  'castanets', 44100, 2, 2.0,  '128k', NO_PNS + NO_IS),
    ('castanets_44k_s_notns', 'castanets', 44100, 2, 2.0, '128k', NO_PNS + NO_IS + ['-aac_tns', '0']),
    ('chord_44k_s_ms2',  'chord',     44100, 2, 2.0,  '96k',  NO_PNS + NO_IS + ['-aac_ms', '1']),
    ('pan_44k_s_is',     'pan',       44100, 2, 2.0,  '64k',  NO_PNS),
    ('pan_48k_s_isms2',  'pan',       48000, 2, 2.0,  '64k',  NO_PNS + ['-aac_ms', '1']),
    ('noise_44k_s_pns',  'noise',     44100, 2, 2.0,  '48k',  []),
    ('noise_22k_m_pns',  'noise',     22050, 1, 2.0,  '24k',  []),
    ('square_44k_m',     'square',    44100, 1, 2.0,  '256k', NO_PNS),
    ('square_48k_s',     'square',    48000, 2, 1.5,  '320k', NO_PNS + NO_IS),
    ('silence_44k_s',    'silence',   44100, 2, 1.0,  '128k', NO_PNS),
    # -aac_pce: channel_configuration 0 in the ADTS headers and a program_config_element in
    # the first raw data block
    ('voice_44k_m_pce',  'voice',     44100, 1, 2.0,  '64k',  NO_PNS + ['-aac_pce', '1']),
    ('chord_48k_s',      'chord',     48000, 2, 2.0,  '192k', NO_PNS + NO_IS),
    ('mix_64k_s',        'mix',       64000, 2, 1.5,  '160k', NO_PNS + NO_IS),
    ('tone_88k_m',       'tone',      88200, 1, 1.5,  '96k',  NO_PNS),
    ('castanets_96k_m',  'castanets', 96000, 1, 1.5,  '128k', NO_PNS),
    ('mix_96k_s',        'mix',       96000, 2, 1.5,  '256k', NO_PNS + NO_IS),
]

# Variants made from the ADTS vectors above: name, kind, ADTS original(s), options. adts_extra
# and adts_2sce are ADTS streams again (kind adts in the manifest), made by bit surgery.
REWRAPS = [
    ('castanets_44k_s.adif', 'adif',  'castanets_44k_s.aac', {}),
    ('castanets_44k_s.asc',  'asc',   'castanets_44k_s.aac', {}),
    ('castanets_44k_s.heaac', 'heaac', 'castanets_44k_s.aac', {}),
    ('castanets_44k_s.raw',  'raw',   'castanets_44k_s.aac', {}),
    ('castanets_44k_s_crc.aac', 'adts_multi', 'castanets_44k_s.aac', {}),
    ('voice_16k_m.adif',     'adif',  'voice_16k_m.aac', {'vbr': True, 'copyright': True}),
    ('voice_16k_m.raw',      'raw',   'voice_16k_m.aac', {}),
    ('voice_16k_m_crc.aac',  'adts_multi', 'voice_16k_m.aac', {}),
    ('voice_44k_m_pce.asc',  'asc',   'voice_44k_m_pce.aac', {'pce': True}),
    ('noise_44k_s_pns.asc',  'asc',   'noise_44k_s_pns.aac', {}),
    ('pan_48k_s_isms2.raw',  'raw',   'pan_48k_s_isms2.aac', {}),
    ('mix_96k_s.adif',       'adif',  'mix_96k_s.aac', {}),
    ('mix_96k_s_crc.aac',    'adts_multi', 'mix_96k_s.aac', {}),
    ('castanets_22k_m_dse_fil.aac', 'adts_extra', 'castanets_22k_m.aac', {}),
    ('tone_voice_8k_2sce.aac', 'adts_2sce', 'tone_8k_m.aac+voice_8k_m.aac', {}),
]
