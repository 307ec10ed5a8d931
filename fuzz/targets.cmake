# The fuzz targets, fuzz/<name>.cc each: built with libFuzzer by the fuzz preset (fuzz/) and
# replayed over their corpus and regression inputs by the test suite (tests/fuzz/).
set(QVCS_FUZZ_TARGET_NAMES base64 json_reader cipher_record hashing_records is_qv_crypto ssv_decrypt ssv_record_loader
                           share_combination)
