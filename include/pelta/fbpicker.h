#ifndef PELTA_FBPICKER_H
#define PELTA_FBPICKER_H

#include "export.h"

typedef struct fbPickParm {
    int ipmethod;
    int method;
    float velocity;
    int limkey;
    int ilkey;
    int shiftpick;
    int direction;
    int envelope;
    float stablizer;
    int winlen;
    int winlen1;
    int winlen2;
    int winlen3;
    int delay;
    int win1;
    int win2;
    int wina;
    int winar;
    float threshold;
    float threshspd;
    float freqspd;
    int winspd;
} fbPickParm;

#ifdef __cplusplus

class PELTA_API fbPicker {
  public:
    fbPicker(fbPickParm* fbpp, int nsamp, float sRate);
    ~fbPicker();
    fbPicker(const fbPicker&) = delete;
    fbPicker& operator=(const fbPicker&) = delete;

    void setfbPickParm(fbPickParm* fbpp);
    int preProcess();
    int getPick(float* data, float offset, int lastPick);
    int computeEnPick(float* data, int isamp);
    int computeSDPick(float* data, int isamp);
    int computeARPick(float* data, int isamp);
    int computeSPDPick(float* data, int isamp);
    int doPick(float* data, int nsamp, int nstart, int nend, int nlead, int nlag, float stablize);
    int adjustPick(float* data, int time, int ptime);

    fbPickParm* _fbpp;
    int _nsamp;
    float _srate;
    float* _tempTrc1;
    float* _tempTrc2;
    float* _tempTrc3;
    float* _tempTrc4;
    float* _tempTrc5;
    float* _tempTrc6;
    bool _isPreProcess;
};

#endif
#endif
