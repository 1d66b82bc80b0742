// A foreign STOMP client against quor-simulator: 10,000 messages each way over TLS, none lost, none doubled,
// in order, with heart-beats both ways. Usage: node interop.mjs PATH-OF-QUOR-SIMULATOR
// Exit codes: 0 good, 1 a check failed, 77 node_modules is absent (run "npm ci" here first).
import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {existsSync, mkdtempSync, readFileSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {dirname, join} from 'node:path';
import {createInterface} from 'node:readline';
import {fileURLToPath} from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const kMessages = 10000;
const kHeartBeatMs = 1000;
const kTopic = '/topic/conferences/interop/subtitle/en-US';
const kPatienceMs = 120000;

if (!['@stomp/stompjs', 'ws'].every(name => existsSync(join(here, 'node_modules', name)))) {
    console.log('skipped: node_modules is absent');
    process.exit(77);
}
if (process.argv.length !== 3) {
    console.error('usage: node interop.mjs PATH-OF-QUOR-SIMULATOR');
    process.exit(1);
}
const {Client} = await import('@stomp/stompjs');
const {WebSocket} = await import('ws');

const directory = mkdtempSync(join(tmpdir(), 'quor-stompjs-'));
const watchdog = setTimeout(() => fail(new Error('nothing happened for too long')), kPatienceMs);
let simulator;

function fail(error) {
    console.error(error);
    simulator?.kill('SIGKILL');
    rmSync(directory, {recursive: true, force: true});
    process.exit(1);
}
process.on('uncaughtException', fail);
process.on('unhandledRejection', fail);

// Starts the program; command(line) resolves with its one-line answer.
async function startSimulator() {
    simulator = spawn(process.argv[2], [
        '--port', '0', '--state-dir', join(directory, 'state'), '--ready-file', join(directory, 'ready.json'),
        '--stats-file', join(directory, 'stats.json'), '--token', 'interop-token',
        '--heart-beat', String(kHeartBeatMs), '--json'
    ], {stdio: ['pipe', 'pipe', 'inherit']});
    const ended = new Promise(resolve => simulator.on('exit', resolve));
    const waiting = [];
    const lines = createInterface({input: simulator.stdout});
    const first = new Promise(resolve => waiting.push(resolve));
    lines.on('line', line => waiting.shift()?.(JSON.parse(line)));
    await Promise.race([first, ended.then(code => { throw new Error(`simulator ended with ${code}`); })]);
    const ready = JSON.parse(readFileSync(join(directory, 'ready.json'), 'utf8'));
    const command = line => {
        const answer = new Promise(resolve => waiting.push(resolve));
        simulator.stdin.write(line + '\n');
        return answer;
    };
    const stats = async () => JSON.parse((await command('stats json')).answer);
    return {ready, command, stats, ended};
}

function startClient(ready) {
    const client = new Client({
        webSocketFactory: () => new WebSocket(
            `wss://localhost:${ready.port}/conf-portal/websocket`, ['v12.stomp', 'v11.stomp'], {
                ca: readFileSync(ready.caFile),
                headers: {Authorization: 'Basic ' + Buffer.from('terminal:quor-demo').toString('base64')}
            }),
        heartbeatIncoming: kHeartBeatMs,
        heartbeatOutgoing: kHeartBeatMs,
        reconnectDelay: 0,
        onStompError: frame => fail(new Error(`ERROR frame: ${frame.headers.message}`)),
        onWebSocketError: event => fail(new Error(`WebSocket error: ${event.message}`)),
        onUnhandledMessage: message => fail(new Error(`unexpected message: ${message.body}`))
    });
    return new Promise(resolve => {
        client.onConnect = frame => resolve({client, connected: frame});
        client.activate();
    });
}

const receipted = (client, id, action) => new Promise(resolve => {
    client.watchForReceipt(id, resolve);
    action({receipt: id});
});

// Lets timers run, those of the heart-beats among them, in the middle of a long loop.
const kStretch = 100;
const breathe = n => n % kStretch === 0 ? new Promise(resolve => setImmediate(resolve)) : undefined;

const bodyOf = n => ({n, text: `caf\u00e9:\u4f60\u597d:${n}`});

async function checkMessages(server, client) {
    const bodies = [];
    let finish;
    const all = new Promise(resolve => { finish = resolve; });
    let subscription;
    await receipted(client, 'subscribed', headers => {
        subscription = client.subscribe(kTopic, message => {
            bodies.push(JSON.parse(message.body));
            if (bodies.length === kMessages) {
                finish();
            }
        }, {...headers, token: 'interop-token', conferenceId: 'interop'});
    });
    const answers = [];
    for (let n = 0; n < kMessages; ++n) {
        answers.push(server.command(`publish ${kTopic} ${JSON.stringify(bodyOf(n))}`));
        await breathe(n);
    }
    for (const [n, answer] of (await Promise.all(answers)).entries()) {
        assert.deepEqual(answer, {command: 'publish', ok: true, answer: 'sent to 1 subscription'});
        await breathe(n);
    }
    await all;
    await receipted(client, 'unsubscribed', headers => subscription.unsubscribe(headers));
    assert.equal(bodies.length, kMessages);
    for (const [n, body] of bodies.entries()) {
        assert.deepEqual(body, bodyOf(n));
        await breathe(n);
    }
    const count = (await server.stats()).destinations[kTopic];
    assert.deepEqual(count, {published: kMessages, delivered: kMessages, unheard: 0, received: 0});
    console.log(`${kMessages} messages received in order`);
}

async function checkSends(server, client) {
    for (let n = 0; n < kMessages - 1; ++n) {
        client.publish({destination: '/app/interop', body: `${n} \u4f60\u597d`, headers: {kind: 'a:b\\c'}});
        await breathe(n);
    }
    await receipted(client, 'sent', headers =>
        client.publish({destination: '/app/interop', body: 'last', headers}));
    assert.equal((await server.stats()).destinations['/app/interop'].received, kMessages);
    console.log(`${kMessages} SENDs counted by the simulator`);
}

async function checkHeartBeats(server, connected) {
    assert.equal(connected.headers['heart-beat'], `${kHeartBeatMs},${kHeartBeatMs}`);
    for (;;) {
        const {frames, links} = await server.stats();
        assert.equal(links.silent, 0);
        if (frames.heartBeatsIn >= 3 && frames.heartBeatsOut >= 3) {
            break;
        }
        await new Promise(resolve => setTimeout(resolve, kHeartBeatMs / 4));
    }
    console.log('heart-beats in both directions');
}

const server = await startSimulator();
const {client, connected} = await startClient(server.ready);
assert.equal(connected.headers.version, '1.2');
await checkMessages(server, client);
await checkSends(server, client);
await checkHeartBeats(server, connected);
await client.deactivate();
await server.command('quit');
assert.equal(await server.ended, 0);
const stats = JSON.parse(readFileSync(join(directory, 'stats.json'), 'utf8'));
assert.equal(stats.protocolErrors, 0);
assert.equal(stats.queueOverflows, 0);
assert.deepEqual(stats.links, {accepted: 1, refused: 0, ended: 1, dropped: 0, silent: 0, upgrades401: 0});
clearTimeout(watchdog);
rmSync(directory, {recursive: true, force: true});
console.log('passed');
