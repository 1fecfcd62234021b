// Shows the fast meters of a corvalux device: client [ADDRESS]
package main

import (
	"context"
	"fmt"
	"log"
	"math/rand"
	"os"
	"os/signal"
	"strings"
	"sync/atomic"
	"syscall"
	"time"

	streams "corvalux/grpc"
	"google.golang.org/grpc"
	"google.golang.org/grpc/backoff"
	"google.golang.org/grpc/keepalive"
)

const firstDelay, longestDelay = 500 * time.Millisecond, 8 * time.Second

func connect(address string) (*grpc.ClientConn, error) {
	return grpc.Dial(address, grpc.WithInsecure(),
		// Windows of a fixed size do not grow; growing ones would fill with old meters.
		grpc.WithInitialWindowSize(65535), grpc.WithInitialConnWindowSize(65535),
		// The server allows a ping every 5 s.
		grpc.WithKeepaliveParams(keepalive.ClientParameters{Time: 10 * time.Second, Timeout: 5 * time.Second}),
		grpc.WithConnectParams(grpc.ConnectParams{MinConnectTimeout: 5 * time.Second,
			Backoff: backoff.Config{BaseDelay: firstDelay, Multiplier: 2, Jitter: 0.25, MaxDelay: longestDelay}}))
}

// receive subscribes with retries, and keeps the newest meters.
func receive(ctx context.Context, meters streams.MetersClient, newest *atomic.Pointer[streams.Meter]) {
	for delay := firstDelay; ctx.Err() == nil; delay *= 2 {
		stream, err := meters.GetMetersFast(ctx, &streams.SubscribeRequest{})
		for err == nil {
			var meter *streams.Meter
			if meter, err = stream.Recv(); err == nil {
				newest.Store(meter)
				delay = firstDelay
			}
		}
		if delay > longestDelay {
			delay = longestDelay
		}
		if ctx.Err() == nil {
			fmt.Fprintf(os.Stderr, "\nno meters: %v; trying again\n", err)
		}
		select {
		case <-time.After(time.Duration(float64(delay) * (0.75 + rand.Float64()/2))):
		case <-ctx.Done():
		}
	}
}

func main() {
	address := append(os.Args, "127.0.0.1:50005")[1]
	ctx, stop := signal.NotifyContext(context.Background(), os.Interrupt, syscall.SIGTERM)
	defer stop()
	rand.Seed(time.Now().UnixNano())
	connection, err := connect(address)
	if err != nil {
		log.Fatal(err)
	}
	var newest atomic.Pointer[streams.Meter]
	go receive(ctx, streams.NewMetersClient(connection), &newest)
	for ; ctx.Err() == nil; time.Sleep(100 * time.Millisecond) { // redraws ten times a second, however many meters come
		line := "\r"
		for _, entry := range newest.Swap(nil).GetEntries() {
			if strings.HasSuffix(entry.Key, "/peak") {
				line += fmt.Sprintf("%7.1f", entry.Value.GetFloatValue())
			}
		}
		fmt.Print(line)
	}
	fmt.Println()
}
