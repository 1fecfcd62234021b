#!/usr/bin/python3
"""Succeeds if one message of meters comes from ADDRESS: listen.py ADDRESS"""
import sys

import grpc

from harness import stream

next(stream(grpc.insecure_channel(sys.argv[1]), 5))
